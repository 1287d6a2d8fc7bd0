#pragma once

#include "frame/GridChoice.h"
#include "run/QualityLog.h"
#include "zt/ISettings.h"
#include "zt/Types.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace ombrel {

// What the adaptive filters of a run's workers choose. Only their logs of quality values hold it, so each
// worker gets a log of its own here. A log that the user named gets what the filter wrote for the last frame,
// as it would without this.
class ChoiceLogs {
public:
    // Points the worker's log to here, before its filter gets the settings. Throws Error.
    void redirect(zt::ISettings& settings, std::size_t worker);
    void setUserFile(const std::string& path) { userFile = path; }

    // Of the worker's latest frame; nothing when there was no search.
    std::optional<GridChoice> read(std::size_t worker, zt::u64 frame);
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
