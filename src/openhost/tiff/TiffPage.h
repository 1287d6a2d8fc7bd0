#pragma once

#include "tiff/TiffHandle.h"
#include "zt/Types.h"

#include <optional>
#include <string>

namespace ombrel {

// What one page of a TIFF file is made of.
struct TiffPage {
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u8 pixelType = 0;
    zt::u64 directoryOffset = 0; // where the library finds the page
    // Where the pixels are when they are one piece and not compressed. They may be in the other byte order.
    std::optional<zt::u64> pixelOffset;
    // Images that follow each other from pixelOffset on; above 1 only where one directory describes a stack.
    zt::u32 images = 1;

    zt::u64 imageBytes() const;
};

// Examines the current page of the file. `where` begins the message ("PATH, frame 3"). Throws Error for a
// page that is no image of one number a pixel, and for one that claims more pixels than the file holds.
TiffPage examineTiffPage(const TiffHandle& tiff, const std::string& where, zt::u64 fileSize);

// The number of images that the current page's description gives. ImageJ, which writes this, makes one
// directory for a whole stack above 4 GB, whose further offsets would not fit. 1 without such a description.
zt::u32 imagesDescribed(const TiffHandle& tiff);

} // namespace ombrel
