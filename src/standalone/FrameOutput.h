#pragma once

#include "host/Types.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace ombrel {

// What an output will hold. All of it is known before the first frame is written.
struct OutputPlan {
    std::string path; // the ending chooses the format: .h5 .hdf5 .nxs, or .tif .tiff
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u64 frames = 0;
    zt::u8 pixelType = 0; // DT_FLOAT or DT_DOUBLE
};

// A stack of corrected frames being written, in order. Whatever ends the program, what stands on the disk
// opens with stock tools and holds every frame that append() returned for.
class FrameOutput {
public:
    // True for a path whose ending names a format.
    static bool isOutputPath(const std::string& path);

    // Makes the file with its room on the disk; one that stands at the path is replaced in one step. Throws
    // Error: an unknown ending, no room, a place that can't be written.
    static std::unique_ptr<FrameOutput> create(const OutputPlan& plan);

    virtual ~FrameOutput() = default;

    // Writes the next frame: width * height doubles, stored in the plan's pixel type. Throws Error.
    virtual void append(std::span<const double> pixels) = 0;
    // Writes NaN for a frame that failed, so that the indexes of the others keep. `reason` is one line.
    virtual void appendFailed(const std::string& reason) = 0;
    // Marks the output as complete. Throws Error.
    virtual void finish() = 0;
};

} // namespace ombrel
