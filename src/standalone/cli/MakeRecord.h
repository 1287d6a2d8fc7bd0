#pragma once

#include "standalone/Chain.h"
#include "standalone/RunRecord.h"
#include "standalone/cli/FrameRange.h"
#include "standalone/cli/RunOptions.h"

namespace ombrel::cli {

// What the run is, for its output. `chain` has its settings loaded. Throws Error.
RunRecord makeRecord(const RunOptions& options, const FrameRange& range, const std::string& pluginPath,
                     Chain& chain);

// The settings file of each link that has one, in the order of the chain.
std::vector<std::string> settingsFilesOf(const RunOptions& options);

} // namespace ombrel::cli
