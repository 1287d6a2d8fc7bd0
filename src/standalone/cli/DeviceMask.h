#pragma once

#include "host/Types.h"

#include <string>
#include <vector>

namespace ombrel::cli {

// The pixel mask of a device of this size from the first frame of a file, as PixelCfg takes it: pixels of
// value 0 are masked. Throws Error, for a mask of another size too.
std::vector<zt::u8> readDeviceMask(const std::string& path, zt::u32 width, zt::u32 height);

} // namespace ombrel::cli
