#pragma once

#include "standalone/FrameFile.h"
#include "standalone/Hdf5Handle.h"

#include <optional>

namespace ombrel {

// Where things stand in an HDF5 output of ours.
namespace outputlayout {
inline constexpr char data[] = "/exchange/data";
inline constexpr char process[] = "/process/ombrel";
inline constexpr char framesDone[] = "/process/ombrel/frames_done"; // u64
inline constexpr char complete[] = "/process/ombrel/complete";      // u8: 1 when the run came to its end
inline constexpr char failed[] = "/process/ombrel/failed";          // u8 a frame: 1 when it failed
inline constexpr char reason[] = "/process/ombrel/reason";          // text a frame: why it failed
} // namespace outputlayout

// None for a file that is no output of ours.
std::optional<RunState> readRunState(hid_t file);

} // namespace ombrel
