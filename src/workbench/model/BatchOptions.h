#pragma once

#include "model/Workspace.h"
#include "run/RunSetup.h"

#include <string>
#include <vector>

namespace ombrel::workbench {

// The run that gives what the workbench shows: the links that are on with their settings files and edits.
// Throws Error where that can't be said: no link is on, or one of several of the same filter has edits.
RunOptions batchOptions(const std::vector<std::string>& inputs, const ChainState& chain,
                        const DeviceState& device);

} // namespace ombrel::workbench
