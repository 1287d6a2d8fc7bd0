#include "kernels/Median.h"

#include "kernels/Bisection.h"
#include "kernels/RankSelection.h"

namespace PluginOmbrel {

double medianOf(std::span<const double> values) {
    if (values.empty())
        return 0;
    const RankSelection middle = selectRank(values, (values.size() + 1) / 2);
    if (!middle.allFinite)
        return bisectMedian(values);
    // Equal values have equal bits but for zeros. Without a sign in the table every zero on the way is
    // positive.
    if (middle.value == 0 && middle.anySignBit)
        return bisectMedian(values);
    return middle.value;
}

} // namespace PluginOmbrel
