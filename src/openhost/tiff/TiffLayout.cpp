#include "tiff/TiffLayout.h"

#include "frame/PixelType.h"

#include <tiff.h>

#include <bit>
#include <limits>
#include <span>

namespace ombrel {

namespace {

constexpr zt::u64 entryCount = 11;

class Bytes {
public:
    template <typename T>
    void add(T value) {
        const auto bytes = std::as_bytes(std::span(&value, 1));
        content.insert(content.end(), bytes.begin(), bytes.end());
    }
    // A count or an offset: 8 bytes in BigTIFF.
    void addWide(zt::u64 value, bool big) { big ? add(value) : add(static_cast<zt::u32>(value)); }

    std::vector<std::byte> take() { return std::move(content); }

private:
    std::vector<std::byte> content;
};

// The start of a directory's row: `count` values of that type.
void addField(Bytes& bytes, zt::u16 tag, zt::u16 type, zt::u64 count, bool big) {
    bytes.add(tag);
    bytes.add(type);
    bytes.addWide(count, big);
}

// A row of one value. A value that is shorter than its field is at the start of the field.
void addEntry(Bytes& bytes, zt::u16 tag, zt::u16 type, zt::u64 value, bool big) {
    addField(bytes, tag, type, 1, big);
    if (type == TIFF_SHORT) {
        bytes.add(static_cast<zt::u16>(value));
        bytes.add(zt::u16{0});
    } else if (type == TIFF_LONG) {
        bytes.add(static_cast<zt::u32>(value));
    } else {
        bytes.add(value);
    }
    if (big && type != TIFF_LONG8)
        bytes.add(zt::u32{0});
}

} // namespace

TiffLayout::TiffLayout(const OutputPlan& outputPlan, const std::string& run)
    : plan{outputPlan}, software{runPrefix + run + '\0'}, frameBytes{zt::u64{plan.width} * plan.height *
                                                                     pixelSize(plan.pixelType)} {
    big = pixelOffset(plan.frames) > std::numeric_limits<zt::u32>::max();
}

zt::u64 TiffLayout::directoryBytes() const {
    const zt::u64 count = big ? 8 : 2;
    const zt::u64 entry = big ? 20 : 12;
    return count + entryCount * entry + linkBytes();
}

// Large frames begin where pages of memory do: they are written and read at up to twice the rate.
zt::u64 TiffLayout::aligned(zt::u64 offset) const {
    constexpr zt::u64 large = 65536;
    const zt::u64 alignment = frameBytes >= large ? 4096 : 16;
    return (offset + alignment - 1) / alignment * alignment;
}

zt::u64 TiffLayout::linkOffset(zt::u64 page) const {
    return page == 0 ? headerBytes() - linkBytes()
                     : directoryOffset(page - 1) + directoryBytes() - linkBytes();
}

std::vector<std::byte> TiffLayout::header() const {
    Bytes bytes;
    bytes.add(zt::u16{std::endian::native == std::endian::little ? TIFF_LITTLEENDIAN : TIFF_BIGENDIAN});
    bytes.add(static_cast<zt::u16>(big ? TIFF_VERSION_BIG : TIFF_VERSION_CLASSIC));
    if (big) {
        bytes.add(zt::u16{8}); // bytes an offset
        bytes.add(zt::u16{0});
    }
    bytes.addWide(0, big);
    for (const char letter : software)
        bytes.add(letter);
    return bytes.take();
}

std::vector<std::byte> TiffLayout::directory(zt::u64 page) const {
    const zt::u16 wide = big ? TIFF_LONG8 : TIFF_LONG;
    Bytes bytes;
    if (big)
        bytes.add(entryCount);
    else
        bytes.add(static_cast<zt::u16>(entryCount));
    addEntry(bytes, TIFFTAG_IMAGEWIDTH, TIFF_LONG, plan.width, big);
    addEntry(bytes, TIFFTAG_IMAGELENGTH, TIFF_LONG, plan.height, big);
    addEntry(bytes, TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 8 * pixelSize(plan.pixelType), big);
    addEntry(bytes, TIFFTAG_COMPRESSION, TIFF_SHORT, COMPRESSION_NONE, big);
    addEntry(bytes, TIFFTAG_PHOTOMETRIC, TIFF_SHORT, PHOTOMETRIC_MINISBLACK, big);
    addEntry(bytes, TIFFTAG_STRIPOFFSETS, wide, pixelOffset(page), big);
    addEntry(bytes, TIFFTAG_SAMPLESPERPIXEL, TIFF_SHORT, 1, big);
    addEntry(bytes, TIFFTAG_ROWSPERSTRIP, TIFF_LONG, plan.height, big);
    addEntry(bytes, TIFFTAG_STRIPBYTECOUNTS, wide, frameBytes, big);
    addField(bytes, TIFFTAG_SOFTWARE, TIFF_ASCII, software.size(), big);
    bytes.addWide(headerBytes(), big);
    addEntry(bytes, TIFFTAG_SAMPLEFORMAT, TIFF_SHORT, SAMPLEFORMAT_IEEEFP, big);
    bytes.addWide(0, big);
    return bytes.take();
}

std::vector<std::byte> TiffLayout::linkTo(zt::u64 page) const {
    Bytes bytes;
    bytes.addWide(directoryOffset(page), big);
    return bytes.take();
}

} // namespace ombrel
