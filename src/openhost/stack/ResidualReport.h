#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// How much structure a correction leaves in areas that should be even.
struct ResidualReport {
    // Of each frame: the relative deviation of the corrected pixels from their mean, as a multiple of what
    // the photon statistics of the raw counts make of it. 1 for a perfect correction; nothing for a frame
    // without corrected pixels.
    std::vector<std::optional<double>> frames;
    double mean = 0; // of those that have one
    double worst = 0;
};

// Compares the frames of two files. `maskPath` is a frame that is 0 where the sample, or a bad pixel, is;
// empty: all pixels count. Pixels that are 0 in the raw frame, or not finite in the corrected one, do not.
// Throws Error: a file that can't be read, different sizes or numbers of frames, no frame with a pixel that
// counts.
ResidualReport reportOnResidual(const std::string& correctedPath, const std::string& rawPath,
                                const std::string& maskPath);

} // namespace ombrel
