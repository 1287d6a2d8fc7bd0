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

// A TIFF file open for reading. What the library has to say is kept for our own messages, and never printed.
class TiffHandle {
public:
    // Throws Error.
    explicit TiffHandle(const std::string& path);

    TIFF* get() const { return tiff.get(); }

    // ": the library's words" for the last error, or nothing.
    std::string reason() const;

private:
    struct Close {
        void operator()(TIFF* file) const { TIFFClose(file); }
    };

    std::unique_ptr<std::string> lastError; // the library keeps its address
    std::unique_ptr<TIFF, Close> tiff;
};

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

// Where things stand in a TIFF file of equal pages, each one strip of floating-point pixels with its
// directory behind it, in this processor's byte order:
//
//     header, link to 0, name of the run | pixels 0 | directory 0, link to 1 | pixels 1 | directory 1, link
//     to 2 | ...
class TiffLayout {
public:
    // Every page names the run: "ombrel run NAME" as the software that made it.
    static constexpr char runPrefix[] = "ombrel run ";

    TiffLayout(const OutputPlan& plan, const std::string& run);

    zt::u64 pixelOffset(zt::u64 page) const {
        return aligned(headerBytes() + software.size()) + page * pageBytes();
    }
    zt::u64 directoryOffset(zt::u64 page) const { return pixelOffset(page) + frameBytes; }
    // Where the link to a page stands.
    zt::u64 linkOffset(zt::u64 page) const;

    // Bytes to write: the header with a link to nothing, the directory of a page with a link to nothing, a
    // link, the one after the last page.
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
    std::string software; // with the 0 that ends it
    zt::u64 frameBytes;
    bool big = false; // BigTIFF: 8 bytes an offset in place of 4
};

} // namespace ombrel
