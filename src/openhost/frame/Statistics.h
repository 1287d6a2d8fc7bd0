#pragma once

#include "frame/FrameFile.h"
#include "zt/Types.h"

#include <string>
#include <vector>

namespace ombrel {

class Frame;

// Figures of a whole frame.
struct FrameStatistics {
    double mean = 0;        // of the finite pixels; NaN if there are no such pixels
    double spread = 0;      // their standard deviation over their mean; NaN without pixels or for a mean of 0
    zt::u64 zeroPixels = 0; // of value 0
    zt::u64 notFinite = 0;  // NaN or infinite
};

FrameStatistics figuresOf(const Frame& frame);

// All pixels, row by row, as doubles.
std::vector<double> doublesOf(const Frame& frame);

// A rectangle of pixels.
struct Region {
    zt::u32 x = 0;
    zt::u32 y = 0;
    zt::u32 width = 0;
    zt::u32 height = 0;
};

// Throws Error when the region is empty or reaches beyond the frames of the file.
void checkRegion(const Region& region, const FrameFileInfo& info);

// The pixels of the region, which must lie inside the frame, row by row. Converts the frame to doubles.
std::vector<double> pixelsOf(Frame& frame, const Region& region);

struct Uniformity {
    double mean = 0;
    double spread = 0; // standard deviation over mean
};

// Counts the finite pixels only. NaN without such pixels.
Uniformity uniformityOf(std::vector<double> pixels);

// The uniformity of a region, as the mean over all frames of a file.
struct RegionReport {
    double mean = 0;
    double spread = 0;     // standard deviation over mean, of each frame
    double statistics = 0; // that expected from photon statistics alone: 1 / sqrt(mean)
};

// Reads the sample frames of a file. Pixels that are not finite are skipped. Throws Error for a file that
// can't be read and a region that reaches beyond the frames.
RegionReport reportOnRegion(const std::string& path, const Region& region);

} // namespace ombrel
