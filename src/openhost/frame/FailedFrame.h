#pragma once

#include "frame/FrameOutput.h"

namespace ombrel {

// The pixels that stand for a failed frame in an output: NaN. Throws std::invalid_argument when the plan's
// pixel type is neither float nor double.
std::vector<std::byte> failedFramePixels(const OutputPlan& plan);

} // namespace ombrel
