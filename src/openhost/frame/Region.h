#pragma once

#include "frame/FrameFile.h"
#include "zt/Types.h"

#include <vector>

namespace ombrel {

// A rectangle of pixels.
struct Region {
    zt::u32 x = 0;
    zt::u32 y = 0;
    zt::u32 width = 0;
    zt::u32 height = 0;
};

// Throws Error when the region is empty or reaches beyond the frames of the file.
void checkRegion(const Region& region, const FrameFileInfo& info);

// The pixels of the region, which lies inside the frame, row by row. The frame is one of doubles afterwards.
std::vector<double> pixelsOf(Frame& frame, const Region& region);

} // namespace ombrel
