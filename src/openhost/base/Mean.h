#pragma once

#include <numeric>
#include <span>

namespace ombrel {

// Of one value at least.
inline double meanOf(std::span<const double> values) {
    return std::reduce(values.begin(), values.end()) / static_cast<double>(values.size());
}

} // namespace ombrel
