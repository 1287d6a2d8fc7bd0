#pragma once

#include "base/FileDescriptor.h"
#include "frame/FrameRow.h"
#include "zt/ISettings.h"
#include "zt/Types.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// A log file for a filter in memory: it cannot fill the disk, and nothing is left if the program is killed.
class QualityLogFile {
public:
    // Throws Error.
    QualityLogFile();

    // The path under which a filter opens it.
    const std::string& path() const { return openPath; }
    std::string text() const;
    void clear();

private:
    FileDescriptor file;
    std::string openPath;
};

// One candidate of a search. V, T and E are texts as in the log, with six digits.
struct QualityValue {
    std::string v;
    std::string t;
    std::string e;
    double value = 0;
};

// The candidates of the last search in the log, in the order in which they were tried; candidates whose value
// is not a number are skipped.
std::vector<QualityValue> readQualityLog(const std::string& text);
// Whether the filter could write all of the log: a search ends with an empty line.
bool isWholeQualityLog(const std::string& text);

// The first candidate with the least value, and the second best; nothing without candidates.
std::optional<SelectedFlatField> choiceOf(const std::vector<QualityValue>& candidates);

// The sides of the grid beyond which the best flat field of a frame lies, by about two steps or more: the
// winner is at the end of an axis, and the scores of its line on that axis point further out. An axis of two
// values shows nothing.
GridSides sidesOutside(std::span<const QualityValue> candidates);

// Collects the frames outside of the grid for a message at the end of a run.
class DriftNotes {
public:
    void add(zt::u64 frame, GridSides sides);
    // In one line; empty if all frames lie within the grid.
    std::string text() const;

private:
    std::vector<zt::u64> frames;
    GridSides all = 0;
};

// Records the choices of the adaptive filters of a run's workers. Only their logs of quality values contain
// them, so each worker gets a separate log. A log file named by the user receives the log of the last
// frame, as it would without recording.
class SelectionLogs {
public:
    // Redirects the worker's log, before its filter loads the settings. Throws Error.
    void redirect(zt::ISettings& settings, std::size_t worker);
    void setUserFile(const std::string& path) { userFile = path; }

    // The choice for the worker's last frame; nothing if there was no search.
    std::optional<SelectedFlatField> read(std::size_t worker, zt::u64 frame);
    // Why choices are missing, in one line; empty if all were read.
    std::string loss() const;
    // The frames outside of the grid, in one line; empty if all are inside.
    std::string drift() const { return driftNotes.text(); }
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
    DriftNotes driftNotes;
};

} // namespace ombrel
