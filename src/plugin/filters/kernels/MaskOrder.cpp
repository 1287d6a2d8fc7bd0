#include "kernels/MaskOrder.h"

#include <algorithm>
#include <span>

namespace PluginOmbrel {

namespace {

// A value that is no number is not in order.
bool notAbove(const double* before, const double* after, std::size_t pixels) {
    bool is = true;
    for (std::size_t i = 0; i < pixels; ++i)
        is &= after[i] <= before[i];
    return is;
}

bool noneEqual(const double* before, const double* after, std::size_t pixels) {
    bool is = true;
    for (std::size_t i = 0; i < pixels; ++i)
        is &= after[i] != before[i];
    return is;
}

} // namespace

void MaskOrder::find(const MaskTables& masks, std::size_t pixels) {
    if (known == pixels)
        return;
    stretches.assign((pixels + stretch - 1) / stretch, 1);
    for (std::size_t k = 1; k < masks.count(); ++k)
        for (std::size_t s = 0; s < stretches.size(); ++s) {
            const double* const before = masks[k - 1] + s * stretch;
            const double* const after = masks[k] + s * stretch;
            const std::size_t size = std::min(stretch, pixels - s * stretch);
            stretches[s] &= notAbove(before, after, size);
            if (k + 1 == masks.count())
                stretches[s] &= noneEqual(before, after, size);
        }
    known = pixels;
}

void MaskOrder::forget() {
    stretches.clear();
    known = 0;
}

} // namespace PluginOmbrel
