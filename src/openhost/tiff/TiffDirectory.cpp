#include "tiff/TiffDirectory.h"

#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace ombrel {

namespace {

// Other tags may differ from page to page: times, numbers, descriptions.
bool saysHowPixelsAreStored(zt::u64 tag) {
    switch (tag) {
    case TIFFTAG_IMAGEWIDTH:
    case TIFFTAG_IMAGELENGTH:
    case TIFFTAG_BITSPERSAMPLE:
    case TIFFTAG_COMPRESSION:
    case TIFFTAG_PHOTOMETRIC:
    case TIFFTAG_FILLORDER:
    case TIFFTAG_SAMPLESPERPIXEL:
    case TIFFTAG_ROWSPERSTRIP:
    case TIFFTAG_STRIPBYTECOUNTS:
    case TIFFTAG_PLANARCONFIG:
    case TIFFTAG_SAMPLEFORMAT:
        return true;
    default:
        return false;
    }
}

constexpr std::size_t tagBytes = 2;
constexpr std::size_t typeOffset = 2;
constexpr std::size_t countOffset = 4;

} // namespace

TiffDirectory::TiffDirectory(const FileDescriptor& file, Format fileFormat, zt::u64 offset)
    : format{fileFormat}, bytes(countBytes()) {
    file.readAt(offset, bytes);
    constexpr zt::u64 most = 65536; // the maximum of the classic format; a larger count means a damaged file
    const zt::u64 count = std::min(number(0, countBytes()), most);
    bytes.resize(countBytes() + count * entryBytes() + linkBytes());
    file.readAt(offset, bytes);
    findStrip();
}

zt::u64 TiffDirectory::valueAt(std::size_t entry) const {
    const zt::u64 type = number(entry + typeOffset, 2);
    const std::size_t valueOffset = format.big ? 12 : 8;
    return number(entry + valueOffset, type == TIFF_LONG8 ? 8 : type == TIFF_SHORT ? 2 : 4);
}

bool TiffDirectory::moveTo(const FileDescriptor& file, zt::u64 offset) {
    std::vector<std::byte> other(bytes.size());
    if (file.tryReadAt(offset, other) ||
        !std::equal(bytes.begin(), bytes.begin() + countBytes(), other.begin()))
        return false;
    for (std::size_t at = countBytes(); at + linkBytes() < bytes.size(); at += entryBytes()) {
        const std::size_t compared = saysHowPixelsAreStored(number(at, tagBytes)) ? entryBytes()
                                     : at == stripEntry ? (format.big ? 12 : 8) // all but the offset
                                                        : tagBytes;
        if (std::memcmp(&bytes[at], &other[at], compared) != 0)
            return false;
    }
    bytes = std::move(other);
    return true;
}

zt::u64 TiffDirectory::number(std::size_t at, std::size_t size) const {
    zt::u64 value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= std::to_integer<zt::u64>(bytes[at + i]) << 8 * (format.swapped ? size - 1 - i : i);
    return value;
}

void TiffDirectory::findStrip() {
    for (std::size_t at = countBytes(); at + linkBytes() < bytes.size(); at += entryBytes())
        if (number(at + countOffset, format.big ? 8 : 4) == 1) {
            if (number(at, tagBytes) == TIFFTAG_STRIPOFFSETS)
                stripEntry = at;
            if (number(at, tagBytes) == TIFFTAG_STRIPBYTECOUNTS)
                bytesEntry = at;
        }
}

} // namespace ombrel
