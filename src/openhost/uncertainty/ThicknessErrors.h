#pragma once

#include "uncertainty/PixelErrors.h"

#include <vector>

namespace ombrel {

// A mask of Beam-hardening: frames through a known thickness, summed.
struct MaskFacts {
    double thickness = 0;
    double frames = 0;          // that were summed
    std::vector<double> counts; // the sum, one for each pixel
    std::vector<double> rates;  // logarithms of the counts a second, as the filter keeps them

    // `seconds` of all frames together.
    static MaskFacts of(double thickness, double frames, std::vector<double> counts, double seconds);
};

// The masks in the filter's order.
struct ThicknessFacts {
    std::vector<MaskFacts> masks;
    // The frames of the masks were multiplied by these, as is the frame; empty if they were not corrected.
    std::vector<double> coefficients;
};

// The errors after the conversion of the counts of `seconds` to a thickness. A pixel that has none, since it
// counts nothing or its masks are equal, has NaN. Returns the pixels that become exactly 0.
std::vector<zt::u8> convertErrors(PixelErrors& errors, double seconds, const ThicknessFacts& facts,
                                  const CountNoise& noise);

} // namespace ombrel
