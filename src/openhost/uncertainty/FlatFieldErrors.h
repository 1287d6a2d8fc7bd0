#pragma once

#include "uncertainty/PixelErrors.h"

#include <vector>

namespace ombrel {

// What is known of the flat field that Flat-Field or a point of AdaptiveFF's grid divides by.
struct FlatFieldFacts {
    // A corrected pixel is the counts times this; 0 for a pixel without a flat field. One for each pixel, or
    // for each column of the detector.
    std::vector<double> coefficients;
    // The counts a frame, without dark, to which a pixel that counts as in the flat field is corrected.
    double level = 0;
    // The number of frames that each coefficient is a mean of, or would be to be as precise.
    double frames = 0;
};

// The errors after the multiplication by the coefficients. Pixels without a flat field have none: NaN.
void multiplyErrors(PixelErrors& errors, const FlatFieldFacts& flat, const CountNoise& noise);

} // namespace ombrel
