#pragma once

#include "base/FileDescriptor.h"
#include "frame/FrameRow.h"
#include "zt/ISettings.h"
#include "zt/Types.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A log for a filter to write, in memory: no disk can be full there, and nothing is left when the program is
// killed.
class QualityLogFile {
public:
    // Throws Error.
    QualityLogFile();

    // By which a filter opens it.
    const std::string& path() const { return openPath; }
    std::string text() const;
    void clear();

private:
    FileDescriptor file;
    std::string openPath;
};

// One candidate of a search. V, T and E are as the log writes them, by six digits.
struct QualityValue {
    std::string v;
    std::string t;
    std::string e;
    double value = 0;
};

// The candidates of the last search in the log, in the order in which they were tried; what is not a number
// is left out.
std::vector<QualityValue> readQualityLog(const std::string& text);
// Whether the filter could write all of it: a search ends with an empty line.
bool isWholeQualityLog(const std::string& text);

// The candidate with the least value, the earliest of them, and the one next to it; none without candidates.
std::optional<SelectedFlatField> choiceOf(const std::vector<QualityValue>& candidates);

// What the adaptive filters of a run's workers choose. Only their logs of quality values hold it, so each
// worker gets a log of its own here. A log that the user named gets what the filter wrote for the last frame,
// as it would without this.
class SelectionLogs {
public:
    // Points the worker's log to here, before its filter gets the settings. Throws Error.
    void redirect(zt::ISettings& settings, std::size_t worker);
    void setUserFile(const std::string& path) { userFile = path; }

    // Of the worker's latest frame; nothing when there was no search.
    std::optional<SelectedFlatField> read(std::size_t worker, zt::u64 frame);
    // Why choices are missing, in one line; empty when all were read.
    std::string loss() const;
    // Throws Error.
    void copyToUserFile() const;

private:
    std::map<std::size_t, QualityLogFile> logs; // by worker
    std::string userFile;
    std::mutex mutex;
    zt::u64 lastFrame = 0;
    std::string lastText; // of that frame
    zt::u64 framesLost = 0;
    zt::u64 firstLost = 0;
};

} // namespace ombrel
