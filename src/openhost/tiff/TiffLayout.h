#pragma once

#include "frame/FrameOutput.h"
#include "zt/Types.h"

#include <tiffio.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

// The offsets in a TIFF file of equal pages. Each page is one strip of floating-point pixels, followed by its
// directory, in this processor's byte order:
//
//     header, link to 0, name of the run | pixels 0 | directory 0, link to 1 | pixels 1 | directory 1, link
//     to 2 | ...
class TiffLayout {
public:
    // Every page names the run in its software tag: "ombrel run NAME".
    static constexpr char runPrefix[] = "ombrel run ";

    TiffLayout(const OutputPlan& plan, const std::string& run);

    zt::u64 pixelOffset(zt::u64 page) const {
        return aligned(headerBytes() + software.size()) + page * pageBytes();
    }
    zt::u64 directoryOffset(zt::u64 page) const { return pixelOffset(page) + frameBytes; }
    // The offset of the link to a page.
    zt::u64 linkOffset(zt::u64 page) const;

    // Bytes to write: the header and the directory of a page, both without a link to a next page; a link; and
    // the link after the last page.
    std::vector<std::byte> header() const;
    std::vector<std::byte> directory(zt::u64 page) const;
    std::vector<std::byte> linkTo(zt::u64 page) const;
    std::vector<std::byte> lastLink() const { return std::vector<std::byte>(linkBytes()); }

private:
    zt::u64 headerBytes() const { return big ? 16 : 8; }
    zt::u64 linkBytes() const { return big ? 8 : 4; }
    zt::u64 directoryBytes() const;
    zt::u64 pageBytes() const { return aligned(frameBytes + directoryBytes()); }
    zt::u64 aligned(zt::u64 offset) const;

    OutputPlan plan;
    std::string software; // including the final 0
    zt::u64 frameBytes;
    bool big = false; // BigTIFF: 8 bytes per offset instead of 4
};

} // namespace ombrel
