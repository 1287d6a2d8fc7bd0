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

std::optional<std::size_t> TiffDirectory::entryOf(zt::u16 tag, zt::u16 type) const {
    for (std::size_t at = countBytes(); at + linkBytes() < bytes.size(); at += entryBytes())
        if (number(at, tagBytes) == tag && number(at + typeOffset, 2) == type)
            return at;
    return std::nullopt;
}

// Values that fit are in the entry itself. Empty if the file ends before them.
std::vector<std::byte> TiffDirectory::valueBytes(const FileDescriptor& file, std::size_t entry,
                                                 std::size_t size) const {
    const std::size_t place = entry + (format.big ? 12 : 8);
    const std::size_t room = format.big ? 8 : 4;
    std::vector<std::byte> value(size);
    if (size <= room)
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(place), size, value.begin());
    else if (file.tryReadAt(number(place, room), value))
        value.clear();
    return value;
}

std::string TiffDirectory::text(const FileDescriptor& file, zt::u16 tag) const {
    constexpr zt::u64 longest = 1 << 20;
    const auto entry = entryOf(tag, TIFF_ASCII);
    const zt::u64 size = entry ? number(*entry + countOffset, format.big ? 8 : 4) : 0;
    if (size == 0 || size > longest)
        return {};
    const auto value = valueBytes(file, *entry, size);
    const std::string text(reinterpret_cast<const char*>(value.data()), value.size());
    return text.substr(0, text.find('\0'));
}

std::optional<Ratio> TiffDirectory::ratio(const FileDescriptor& file, zt::u16 tag) const {
    const auto entry = entryOf(tag, TIFF_RATIONAL);
    const auto value = entry ? valueBytes(file, *entry, 8) : std::vector<std::byte>();
    if (value.empty())
        return std::nullopt;
    Ratio ratio;
    std::memcpy(&ratio.numerator, value.data(), 4);
    std::memcpy(&ratio.denominator, value.data() + 4, 4);
    if (format.swapped)
        ratio = {__builtin_bswap32(ratio.numerator), __builtin_bswap32(ratio.denominator)};
    return ratio.numerator > 0 && ratio.denominator > 0 ? std::optional(ratio) : std::nullopt;
}

std::optional<zt::u64> TiffDirectory::wholeNumber(zt::u16 tag) const {
    const auto entry = entryOf(tag, TIFF_SHORT);
    return entry ? std::optional(valueAt(*entry)) : std::nullopt;
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
