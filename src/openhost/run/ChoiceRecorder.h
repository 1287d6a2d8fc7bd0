#pragma once

#include "frame/FrameRow.h"
#include "host/Chain.h"
#include "run/GridDrift.h"
#include "run/GridLines.h"
#include "run/SelectionLogs.h"
#include "zt/IPrivateFilters.h"
#include "zt/ISettings.h"
#include "zt/Types.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace ombrel {

// The candidate that won a search, and the second best, in the six digits of a log; nothing without
// candidates. `lines` are kept for the next search of the same filter.
std::optional<SelectedFlatField> choiceOf(IGridScores& scores, GridLines& lines);

// Records the choices of the adaptive filters of a run's workers. A filter offers the scores of its search
// itself. A log of quality values, for which it must compute all scores, is read where a filter offers none,
// or where the user wants the log: then each worker gets a separate one, in memory, and the user's file
// receives the log of the last frame, as it would without recording.
class ChoiceRecorder {
public:
    // Before the worker's filter loads the settings. `userLog` is the file for the log, empty for none;
    // without it, the settings name the file. Throws Error.
    void prepare(std::size_t worker, const FilterLink& link, zt::ISettings& settings,
                 const std::optional<std::string>& userLog);

    // The choice for the worker's last frame; nothing if its filter did not correct that.
    std::optional<SelectedFlatField> read(std::size_t worker, FilterLink& link, zt::u64 frame);
    // Why choices are missing, in one line; empty if all were read.
    std::string loss() const;
    // The frames outside of the grid, in one line; empty if all are inside.
    std::string drift() const { return driftNotes.text(); }
    // Throws Error.
    void copyToUserFile() const;

private:
    struct Source {
        std::optional<QualityLogFile> log; // without it, the filter's own scores are read
        GridLines lines;
    };

    Source& sourceOf(std::size_t worker);
    std::optional<SelectedFlatField> readLog(Source& source, zt::u64 frame);
    void keepLog(zt::u64 frame, std::string text);
    void noteLoss(zt::u64 frame);

    std::mutex mutex;
    std::map<std::size_t, Source> sources; // by worker
    std::string userFile;
    zt::u64 lastFrame = 0;
    std::string lastText; // of that frame
    zt::u64 framesLost = 0;
    zt::u64 firstLost = 0;
    DriftNotes driftNotes;
};

} // namespace ombrel
