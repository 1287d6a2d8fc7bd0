#include "kernels/ThicknessSearch.h"

namespace PluginOmbrel {

void ThicknessTables::clear() {
    values.clear();
    steps.clear();
    maskCount = 0;
}

void ThicknessTables::add(const double* maskValues, double thickness) {
    values.resize(maskCount);
    values.insert(values.end(), reach, maskValues);
    if (maskCount > 0)
        steps.back() = thickness - steps[steps.size() - 2];
    steps.insert(steps.end(), {thickness, 0});
    ++maskCount;
}

} // namespace PluginOmbrel
