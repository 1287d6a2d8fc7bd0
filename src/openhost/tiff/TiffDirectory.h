#pragma once

#include "base/FileDescriptor.h"
#include "frame/ImageTags.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The raw list of tags of a page. The library takes seconds for the directories of a hundred thousand pages,
// most of which are equal: these are compared byte by byte instead.
class TiffDirectory {
public:
    struct Format {
        bool big = false;     // BigTIFF
        bool swapped = false; // of the other byte order
    };

    // Throws Error if the file ends within the directory or the link after it.
    TiffDirectory(const FileDescriptor& file, Format fileFormat, zt::u64 offset);

    // The offset of the next directory; 0 after the last.
    zt::u64 next() const { return number(bytes.size() - linkBytes(), linkBytes()); }

    // Whether the pixels are in one strip. Only then does the directory contain the strip's offset.
    bool hasOneStrip() const { return stripEntry.has_value(); }
    zt::u64 stripOffset() const { return valueAt(*stripEntry); }
    zt::u64 stripBytes() const { return bytesEntry ? valueAt(*bytesEntry) : 0; }

    // Values of tags. Empty, or nothing, if the tag is missing or of another type.
    std::string text(const FileDescriptor& file, zt::u16 tag) const;
    std::optional<Ratio> ratio(const FileDescriptor& file, zt::u16 tag) const;
    std::optional<zt::u64> wholeNumber(zt::u16 tag) const;

    // Replaces this directory by the one at `offset` if both have the same tags, and equal values in all tags
    // that describe the storage of pixels except the offsets. Otherwise returns false.
    bool moveTo(const FileDescriptor& file, zt::u64 offset);

private:
    std::size_t countBytes() const { return format.big ? 8 : 2; }
    std::size_t entryBytes() const { return format.big ? 20 : 12; }
    std::size_t linkBytes() const { return format.big ? 8 : 4; }
    zt::u64 number(std::size_t at, std::size_t size) const;
    zt::u64 valueAt(std::size_t entry) const;
    std::optional<std::size_t> entryOf(zt::u16 tag, zt::u16 type) const;
    std::vector<std::byte> valueBytes(const FileDescriptor& file, std::size_t entry, std::size_t size) const;
    void findStrip();

    Format format;
    std::vector<std::byte> bytes;
    // Offsets of the entries in `bytes`.
    std::optional<std::size_t> stripEntry;
    std::optional<std::size_t> bytesEntry;
};

} // namespace ombrel
