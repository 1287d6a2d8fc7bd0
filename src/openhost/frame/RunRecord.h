#pragma once

#include "zt/Types.h"

#include <optional>
#include <string>
#include <vector>

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

// A link of the chain of a run.
struct LinkRecord {
    std::string filter;
    std::optional<FileRecord>
        settings;                  // with hash; the output holds its bytes too, in the order of the chain
    std::vector<FileRecord> files; // with hashes: what the settings name, or what lies beside them
};

// A part of a run, by itself in an output of its own.
struct PartRecord {
    std::string path; // relative to the folder of the whole
    zt::u64 begin = 0;
    zt::u64 end = 0;
    std::string hash; // see partHash()
};

// All that decides what a run gives, as it stands in its output: enough to run it again.
struct RunRecord {
    std::string version; // of this program
    FileRecord plugin;   // with hash
    std::vector<LinkRecord> chain;
    std::vector<std::string> params;    // "FILTER:PARAM=VALUE", in order
    std::vector<FileRecord> paramFiles; // with hashes: files that these name
    std::vector<FileRecord> inputs;
    std::vector<std::string> datasets; // of each input; empty for the one that the program chooses
    zt::u64 begin = 0;                 // frames of all inputs taken together
    zt::u64 end = 0;
    std::string outputType; // "f32" or "f64"
    bool replace = false;   // corrected in place
    int deviceType = 1;
    std::optional<FileRecord> deviceMask; // with hash
    std::optional<double> acqTime;        // seconds, given for every frame
    std::vector<PartRecord> parts;        // where the output only refers to those of several runs

    std::string toJson() const;
    // Throws Error.
    static RunRecord fromJson(const std::string& text);

    // In which the other one, of an earlier run, differs, each in one line.
    std::vector<std::string> differencesFrom(const RunRecord& before) const;
};

} // namespace ombrel
