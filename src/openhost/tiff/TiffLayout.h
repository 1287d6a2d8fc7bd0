#pragma once

#include "frame/FrameOutput.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ombrel {

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
