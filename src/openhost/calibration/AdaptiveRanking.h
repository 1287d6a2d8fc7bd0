#pragma once

#include "calibration/AdaptiveTrial.h"

#include <cstddef>
#include <span>

namespace ombrel {

// The best of several results over the same frames. Each of these questions leaves some of them to the next:
// the fewest frames failed; about the least residual; right most often; about the least residual of a mosaic;
// surely right, and the first of equals. Residual comes before right, since settings may find every flat
// field and still spoil the frames.
std::size_t bestOf(std::span<const TrialResult> results);

// Whether `other` leaves clearly less than `result`.
bool isClearlyFlatter(const TrialResult& other, const TrialResult& result);

} // namespace ombrel
