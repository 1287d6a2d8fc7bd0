#pragma once

#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"

#include <optional>
#include <string>

namespace ombrel {

// The output to resume; none when no frame of it is done. Throws Error when it is no output of this
// program, is being written, or was made by another run than `record` tells of: the text names what differs.
std::optional<OutputState> outputToResume(const std::string& path, const RunRecord& record);

} // namespace ombrel
