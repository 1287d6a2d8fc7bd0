#pragma once

#include "frame/FrameFile.h"
#include "hdf5/Hdf5Handle.h"

#include <optional>

namespace ombrel {

// None for a file that is no output of ours with that many frames.
std::optional<RunState> readRunState(hid_t file, zt::u32 frames);

} // namespace ombrel
