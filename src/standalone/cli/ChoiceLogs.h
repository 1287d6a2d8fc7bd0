#pragma once

#include "host/ISettings.h"
#include "host/Types.h"
#include "standalone/GridChoice.h"
#include "standalone/cli/TrialFolder.h"

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>

namespace ombrel::cli {

// What the adaptive filters of a run's workers choose. It stands in their logs of quality values alone, so
// each worker gets one of its own here; where the user named one it gets what the filter wrote for the last
// frame, as it would without this.
class ChoiceLogs {
public:
    // Throws Error.
    ChoiceLogs();

    // Leads the worker's log here, before its filter gets the settings.
    void redirect(zt::ISettings& settings, std::size_t worker);
    void setUserFile(const std::string& path) { userFile = path; }

    // Of the worker's latest frame; none when there was no search.
    std::optional<GridChoice> read(std::size_t worker, zt::u64 frame);
    // Throws Error.
    void copyToUserFile() const;

private:
    std::string pathOf(std::size_t worker) const { return folder / (std::to_string(worker) + ".txt"); }

    TrialFolder folder;
    std::string userFile;
    std::mutex mutex;
    zt::u64 lastFrame = 0;
    std::string lastText; // of that frame
};

} // namespace ombrel::cli
