#pragma once

#include <limits>

namespace ombrel {

// What a figure is that there is not.
inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

} // namespace ombrel
