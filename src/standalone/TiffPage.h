#pragma once

#include "host/Types.h"
#include "standalone/TiffHandle.h"

#include <optional>
#include <string>

namespace ombrel {

// What one page of a TIFF file is made of.
struct TiffPage {
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u8 pixelType = 0;
    zt::u64 directoryOffset = 0; // where the library finds the page
    // Where the pixels stand in one piece, in the byte order of this processor and not compressed.
    std::optional<zt::u64> pixelOffset;
};

// Examines the current page of the file. `where` begins the message ("PATH, frame 3"). Throws Error for a
// page that is no image of one number a pixel, and for one whose pixels end behind the file.
TiffPage examineTiffPage(const TiffHandle& tiff, const std::string& where, zt::u64 fileSize);

} // namespace ombrel
