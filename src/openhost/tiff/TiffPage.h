#pragma once

#include "zt/Types.h"

#include <tiffio.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace ombrel {

// A TIFF file open for reading. The library's messages are stored for ombrel's own messages, and never
// printed.
class TiffHandle {
public:
    // Throws Error.
    explicit TiffHandle(const std::string& path);

    TIFF* get() const { return tiff.get(); }

    // ": " and the library's text for the last error, or empty.
    std::string reason() const;

private:
    struct Close {
        void operator()(TIFF* file) const { TIFFClose(file); }
    };

    std::unique_ptr<std::string> lastError; // the library keeps its address
    std::unique_ptr<TIFF, Close> tiff;
};

// The properties of one page of a TIFF file.
struct TiffPage {
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u8 pixelType = 0;
    std::size_t storedPixelBytes = 0; // 2 for 16-bit floating point, whose pixels become float
    zt::u64 directoryOffset = 0;      // the library finds the page there
    // The offset of the pixels if they are contiguous and uncompressed. They may be in the other byte order.
    std::optional<zt::u64> pixelOffset;
    // Number of consecutive images from pixelOffset on; above 1 only if one directory describes a stack.
    zt::u32 images = 1;

    // Of one image as stored.
    zt::u64 imageBytes() const { return zt::u64{width} * height * storedPixelBytes; }
    bool isHalf() const;
};

// Examines the current page of the file. `where` is the start of a message ("PATH, frame 3"). Throws Error
// unless the page is an image with one number per pixel, and if it claims more pixels than the file holds.
TiffPage examineTiffPage(const TiffHandle& tiff, const std::string& where, zt::u64 fileSize);

// The number of images in the current page's description, 1 without one. ImageJ, which writes this
// description, stores a stack above 4 GB with a single directory, since further offsets would not fit.
zt::u32 imagesDescribed(const TiffHandle& tiff);

} // namespace ombrel
