#pragma once

#include "frame/Region.h"

#include <string>

namespace ombrel {

// How even the pixels of a region are, as the mean over all frames of a file.
struct RegionReport {
    double mean = 0;
    double spread = 0;     // standard deviation over mean, of each frame
    double statistics = 0; // what counts of that mean would spread by themselves: 1 / sqrt(mean)
};

// Reads the sample frames of a file. Pixels that are not finite are left out. Throws Error: a file that can't
// be read, a region that reaches beyond the frames.
RegionReport reportOnRegion(const std::string& path, const Region& region);

} // namespace ombrel
