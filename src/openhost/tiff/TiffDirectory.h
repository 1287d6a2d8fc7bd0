#pragma once

#include "base/FileDescriptor.h"

#include <optional>
#include <vector>

namespace ombrel {

// A page's list of tags as it is in the file. The library takes seconds for the directories of a hundred
// thousand pages, most of which say the same: these are compared byte by byte instead.
class TiffDirectory {
public:
    struct Format {
        bool big = false;     // BigTIFF
        bool swapped = false; // of the other byte order
    };

    // Throws Error when the file ends before the directory and the link after it do.
    TiffDirectory(const FileDescriptor& file, Format fileFormat, zt::u64 offset);

    // Where the next directory is; 0 after the last.
    zt::u64 next() const { return number(bytes.size() - linkBytes(), linkBytes()); }

    // True when the pixels are in one strip. Only then is the place of the strip in the directory.
    bool hasOneStrip() const { return stripEntry.has_value(); }
    zt::u64 stripOffset() const { return valueAt(*stripEntry); }
    zt::u64 stripBytes() const { return bytesEntry ? valueAt(*bytesEntry) : 0; }

    // Reads the directory at `offset` in place of this one, if it has the same tags, and the same values of
    // all that say how pixels are stored but where they are. Else returns false.
    bool moveTo(const FileDescriptor& file, zt::u64 offset);

private:
    std::size_t countBytes() const { return format.big ? 8 : 2; }
    std::size_t entryBytes() const { return format.big ? 20 : 12; }
    std::size_t linkBytes() const { return format.big ? 8 : 4; }
    zt::u64 number(std::size_t at, std::size_t size) const;
    zt::u64 valueAt(std::size_t entry) const;
    void findStrip();

    Format format;
    std::vector<std::byte> bytes;
    // Where the entries begin in `bytes`.
    std::optional<std::size_t> stripEntry;
    std::optional<std::size_t> bytesEntry;
};

} // namespace ombrel
