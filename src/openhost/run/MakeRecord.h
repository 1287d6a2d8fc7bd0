#pragma once

#include "frame/FrameRange.h"
#include "frame/RunRecord.h"
#include "host/Chain.h"
#include "run/RunOptions.h"

namespace ombrel {

// What the run is, for its output. `chain` has its settings loaded. Throws Error.
RunRecord makeRecord(const RunOptions& options, const FrameRange& range, const std::string& pluginPath,
                     Chain& chain);

// The settings of the filter of that place; without a path where it has none.
SettingsSource settingsOf(const RunOptions& options, std::size_t filter);
// The files with the settings of each link that has some, in the order of the chain.
std::vector<std::string> settingsFilesOf(const RunOptions& options);

} // namespace ombrel
