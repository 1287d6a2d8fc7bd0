#include "base/Numbers.h"
#include "uncertainty/PixelErrors.h"

namespace ombrel {

namespace {

// The variance of a corrected pixel due to its flat field and to the dark that both have lost. A dark that is
// too high lowers the frame and the flat field alike: a pixel as bright as the flat field stays as it is.
double calibrationVariance(double corrected, std::size_t pixel, double coefficient,
                           const FlatFieldFacts& flat, const CountNoise& noise) {
    const double field = flat.level / coefficient; // counts a frame
    const double relative = noise.varianceOf(field, pixel) / (flat.frames * field * field);
    const double darkSlope = coefficient * (1 - corrected / flat.level);
    return corrected * corrected * relative + darkSlope * darkSlope * noise.meanDarkVariance(pixel);
}

} // namespace

void multiplyErrors(PixelErrors& errors, const FlatFieldFacts& flat, const CountNoise& noise) {
    for (std::size_t i = 0; i < errors.size(); ++i) {
        const double coefficient = flat.coefficients[i % flat.coefficients.size()];
        errors.value[i] *= coefficient;
        if (!(coefficient > 0)) {
            errors.photon[i] = errors.calibration[i] = notANumber;
            continue;
        }
        errors.photon[i] *= coefficient * coefficient;
        errors.calibration[i] = calibrationVariance(errors.value[i], i, coefficient, flat, noise);
    }
}

} // namespace ombrel
