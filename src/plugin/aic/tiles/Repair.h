#pragma once

#include <limits>

// The smallest normal float. What is below it in a calibration image is no measurement: it counts as 1 there,
// so that a quotient keeps the frame's value.
inline constexpr float smallestDivisor = std::numeric_limits<float>::min();

inline float repairedPixel(float pixel) {
    return pixel < smallestDivisor ? 1.0f : pixel;
}
