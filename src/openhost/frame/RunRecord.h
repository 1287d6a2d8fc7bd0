#pragma once

#include "zt/Types.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// Identifies the contents of a file.
struct FileRecord {
    std::string path; // absolute
    zt::u64 bytes = 0;
    std::string modified; // UTC, to the nanosecond if the file system stores it
    std::string hash;     // see fileHash(); empty where size and time suffice

    // Records size and time, and the hash if requested. Throws Error.
    static FileRecord of(const std::string& path, bool withHash);
    // How the file differs from `before`; empty if it is the same. If both have a hash, the time is ignored.
    std::string changeSince(const FileRecord& before) const;
};

// Without dots and doubled slashes; links are not followed.
std::string absolutePath(const std::string& path);

// A link of the chain of a run.
struct LinkRecord {
    std::string filter;
    std::optional<FileRecord>
        settings;                  // with hash; the output holds its bytes too, in the order of the chain
    std::vector<FileRecord> files; // with hashes: files that the settings name or that lie next to them
};

// A part of a run, stored in a separate output.
struct PartRecord {
    std::string path; // relative to the folder of the combined output
    zt::u64 begin = 0;
    zt::u64 end = 0;
    std::string hash; // see partHash()
};

// Everything that determines the result of a run, as stored in its output: enough to repeat the run.
struct RunRecord {
    std::string version; // of this program
    FileRecord plugin;   // with hash
    std::vector<LinkRecord> chain;
    std::vector<std::string> params;    // "FILTER:PARAM=VALUE", in order
    std::vector<FileRecord> paramFiles; // with hashes: files that these name
    std::vector<FileRecord> inputs;
    std::vector<std::string> datasets; // of each input; empty if the program chooses it
    zt::u64 begin = 0;                 // counted through all inputs
    zt::u64 end = 0;
    std::string outputType;                     // "f32", "f64", "u16" or "f16"
    std::optional<std::array<double, 2>> scale; // the values that 16 bits store, as given
    bool replace = false;                       // corrected in place
    int deviceType = 1;
    std::optional<FileRecord> deviceMask; // with hash, unless it is an input
    std::string maskDataset;              // in that file; empty if it has none or the program chooses it
    std::string maskConvention;           // as given
    std::string maskHash;                 // of the mask itself
    std::string marks = "none";           // the rule by which pixels of single frames are marked
    bool keepNan = false;                 // marked pixels are NaN
    std::optional<double> acqTime;        // seconds, given for every frame
    std::string sigma = "none";           // standard deviations: none, total, or also the calibration's part
    std::optional<double> gain;           // given for them, counts a photon
    std::string quantity = "counts";      // of the output
    std::string levelRegion;              // as given; empty for the level of the flat fields
    std::string dark = "auto";            // as given, a path absolute
    std::vector<FileRecord> darkFiles;    // of the dark frames, if they were named
    std::string darkHash;                 // of the dark itself; empty if none was subtracted
    std::vector<PartRecord> parts;        // for an output that only refers to those of several runs

    std::string toJson() const;
    // Throws Error.
    static RunRecord fromJson(const std::string& text);

    // Differences from the record of an earlier run, one line each.
    std::vector<std::string> differencesFrom(const RunRecord& before) const;
};

} // namespace ombrel
