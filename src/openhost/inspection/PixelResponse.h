#pragma once

#include "zt/Types.h"

#include <span>
#include <vector>

namespace ombrel {

// Marks gaps among pixels that never count: whole rows and columns of the detector, and rectangles of at
// least 16 pixels. `faults` gets fault::gap there and fault::dead at the other ones.
void markGaps(const std::vector<bool>& countsNothing, zt::u32 width, std::span<zt::u32> faults);

// Marks pixels whose level deviates from their neighbourhood by more than `limit` robust standard deviations
// of the detector's pixels as under- or over-responding. The neighbourhood is the median of 7 x 7 pixels,
// times what the pixel's column and row have in common: pixels at the edges of a sensor's chips are wider.
// `variance` is the relative variance of each level that is due to noise alone. Pixels with a fault are
// neither judged nor used.
void markResponse(std::span<const double> level, std::span<const double> variance, zt::u32 width,
                  double limit, std::span<zt::u32> faults);

// Marks pixels that count in the dark, likewise, against the whole detector: `level` is the mean of `darks`
// frames.
void markHot(std::span<const double> level, zt::u64 darks, double limit, std::span<zt::u32> faults);

} // namespace ombrel
