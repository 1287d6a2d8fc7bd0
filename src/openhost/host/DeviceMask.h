#pragma once

#include "frame/Frame.h"
#include "zt/Types.h"

#include <string>
#include <vector>

namespace ombrel {

// The first frame of a file as a mask for frames of this size. Throws Error, for one of another size too.
FramePtr readMaskFrame(const std::string& path, zt::u32 width, zt::u32 height);

// The pixel mask of a device of this size from the first frame of a file, as PixelCfg takes it: pixels of
// value 0 are masked. Throws Error as readMaskFrame().
std::vector<zt::u8> readDeviceMask(const std::string& path, zt::u32 width, zt::u32 height);

} // namespace ombrel
