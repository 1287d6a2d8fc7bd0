#pragma once

#include "frame/FrameOutput.h"
#include "zt/Types.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// How an output in 16 bits stores its values, from the description of a page; nothing if it is not described.
// ImageJ reads the same lines.
std::optional<PixelPacking> packingDescribed(const std::string& description);

// The offsets in a TIFF file of equal pages. Each page is one strip of pixels, followed by its directory, in
// this processor's byte order:
//
//     header, link to 0, name of the run, texts of all pages | pixels 0, texts 0 | directory 0, link to 1 |
//     pixels 1, texts 1 | directory 1, link to 2 | ...
class TiffLayout {
public:
    // Every page names the run in its software tag: "ombrel run NAME", followed by the software of the input:
    // "; SOFTWARE".
    static constexpr char runPrefix[] = "ombrel run ";
    static constexpr char afterRun[] = "; ";

    TiffLayout(const OutputPlan& plan, const std::string& run);

    zt::u64 pixelOffset(zt::u64 page) const {
        return aligned(headerBytes() + shared.size()) + page * pageBytes();
    }
    // The texts that differ from page to page.
    zt::u64 textOffset(zt::u64 page) const { return pixelOffset(page) + frameBytes; }
    zt::u64 directoryOffset(zt::u64 page) const { return textOffset(page) + textBytes; }
    // The offset of the link to a page.
    zt::u64 linkOffset(zt::u64 page) const;

    // Bytes to write: the header and the directory of a page, both without a link to a next page; a link; and
    // the link after the last page.
    std::vector<std::byte> header() const;
    std::vector<std::byte> texts(zt::u64 page) const;
    std::vector<std::byte> directory(zt::u64 page) const;
    std::vector<std::byte> linkTo(zt::u64 page) const;
    std::vector<std::byte> lastLink() const { return std::vector<std::byte>(linkBytes()); }

private:
    // A text of each page.
    struct TextTag {
        zt::u16 tag;
        std::vector<std::string> texts; // a single one for all pages
        zt::u64 offset = 0;             // of a text for all pages in the file

        const std::string& of(zt::u64 page) const { return texts[texts.size() == 1 ? 0 : page]; }
    };

    void addTexts(const std::string& run);
    void addText(zt::u16 tag, std::vector<std::string> texts);
    void addResolution();
    zt::u64 entryCount() const { return 10 + textTags.size() + (resolution ? 3 : 0); }
    zt::u64 textOffset(const TextTag& text, zt::u64 page) const;
    zt::u64 headerBytes() const { return big ? 16 : 8; }
    zt::u64 linkBytes() const { return big ? 8 : 4; }
    zt::u64 directoryBytes() const;
    zt::u64 pageBytes() const { return aligned(frameBytes + textBytes + directoryBytes()); }
    zt::u64 aligned(zt::u64 offset) const;

    OutputPlan plan;
    zt::u64 frameBytes;
    bool big = false;              // BigTIFF: 8 bytes per offset instead of 4
    std::vector<TextTag> textTags; // in the order of their tags
    std::optional<Resolution> resolution;
    zt::u64 resolutionOffset = 0; // of both ratios in the file
    std::string shared;           // what follows the header
    zt::u64 textBytes = 0;        // for the texts of one page
};

} // namespace ombrel
