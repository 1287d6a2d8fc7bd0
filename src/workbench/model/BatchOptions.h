#pragma once

#include "model/Workspace.h"
#include "run/RunSetup.h"

#include <string>
#include <vector>

namespace ombrel::workbench {

// The mask of the device that the user chose.
MaskOptions maskOptions(const DeviceState& device);

// The batch run that matches what the workbench shows: the enabled links with their settings files and edits.
// Throws Error when that is impossible: no link is enabled, or one of several links of the same filter has
// edits.
RunOptions batchOptions(const std::vector<std::string>& inputs, const ChainState& chain,
                        const DeviceState& device);

} // namespace ombrel::workbench
