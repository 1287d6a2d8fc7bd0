#pragma once

#include "zt/Types.h"

namespace ombrel {

class Frame;

// What a frame looks like as a whole.
struct FrameFigures {
    double mean = 0;        // of the finite pixels; NaN when there are none
    double spread = 0;      // their standard deviation over their mean; NaN without pixels or for a mean of 0
    zt::u64 zeroPixels = 0; // of value 0
    zt::u64 notFinite = 0;  // NaN or infinite
};

FrameFigures figuresOf(const Frame& frame);

} // namespace ombrel
