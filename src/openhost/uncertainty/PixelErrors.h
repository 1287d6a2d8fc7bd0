#pragma once

#include "settings/CalibrationFacts.h"
#include "zt/Types.h"

#include <cstddef>
#include <span>
#include <vector>

namespace ombrel {

// The variance of each pixel of a dark frame. Where it was not measured, what was counted is photons.
std::vector<double> variancesOf(const DarkField& dark, double gain);

// The noise of counts, and of the mean dark frame that was subtracted from them.
struct CountNoise {
    double gain = 1;                  // counts a photon
    std::vector<double> darkVariance; // of one dark frame, see variancesOf(); empty without one
    double darkFrames = 0;            // frames that the mean dark is of

    // The variance of counts without their dark. A pixel without a photon has the error of one photon.
    double varianceOf(double counts, std::size_t pixel) const;
    // The variance of the mean dark.
    double meanDarkVariance(std::size_t pixel) const;
};

// The pixels of a frame on their way through a chain, each with the variance of its value in two parts: the
// photon noise of this frame, and the noise of the calibration, which all frames share.
struct PixelErrors {
    zt::u32 width = 0;
    std::vector<double> value;
    std::vector<double> photon;
    std::vector<double> calibration;
    std::vector<zt::u8> filled; // 1: the value is a mean of neighbours

    // Of a frame in front of the chain.
    static PixelErrors ofCounts(std::span<const double> counts, zt::u32 width, const CountNoise& noise);

    std::size_t size() const { return value.size(); }
    zt::u32 height() const { return static_cast<zt::u32>(value.size() / width); }
};

// The errors of pixels that the detector marked, and that were filled from the good pixels within 5 x 5
// before the chain. Pixels of the device mask that are 0 are not good; an empty mask has no such pixels.
void markErrors(PixelErrors& errors, std::span<const zt::u32> marked, std::span<const zt::u8> deviceMask);

// The errors after the filters' filling of bad pixels: a pass fills those with enough known pixels around
// them, the next pass takes these as known. Pixels without enough known ones stay as they are, as does the
// frame when more than half of the pixels are bad. `bad` is not 0 for a bad pixel.
void fillErrors(PixelErrors& errors, std::span<const zt::u8> bad);

// The errors after "Binning 2x2", whose blocks at the end of odd sides include what follows in memory.
void binErrors(PixelErrors& errors);

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
