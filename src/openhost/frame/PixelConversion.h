#pragma once

#include "zt/Types.h"

#include <cstddef>

namespace ombrel {

// Converts `count` pixels. To an integer type values are rounded to the nearest (halves to even) and clamped
// to its range, and NaN becomes 0; to float, values beyond its range become infinite. The arrays must not
// overlap.
void convertPixels(const std::byte* from, zt::u8 fromType, std::byte* to, zt::u8 toType, std::size_t count);

} // namespace ombrel
