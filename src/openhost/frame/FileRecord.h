#pragma once

#include "zt/Types.h"

#include <string>

namespace ombrel {

// What tells a file from others of its name.
struct FileRecord {
    std::string path; // absolute
    zt::u64 bytes = 0;
    std::string modified; // UTC, to the nanosecond where the file system keeps it
    std::string hash;     // see fileHash(); empty where size and time have to do

    // Size and time, and the hash where asked for. Throws Error.
    static FileRecord of(const std::string& path, bool withHash);
    // Why the file is another one than `before`; empty when it is the same. Where both have a hash the time
    // does not matter.
    std::string changeSince(const FileRecord& before) const;
};

// Without dots and doubled slashes; links are kept.
std::string absolutePath(const std::string& path);

} // namespace ombrel
