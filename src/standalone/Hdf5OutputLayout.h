#pragma once

#include "standalone/FrameOutput.h"

#include <cstddef>
#include <vector>

namespace ombrel {

class OutputFile;

// Where things stand in an HDF5 output of ours.
namespace outputlayout {
inline constexpr char data[] = "/exchange/data";
inline constexpr char framesDone[] = "/process/ombrel/frames_done"; // u64
inline constexpr char complete[] = "/process/ombrel/complete";      // u8: 1 when the run came to its end
inline constexpr char failed[] = "/process/ombrel/failed";          // u8 a frame: 1 when it failed
inline constexpr char reason[] = "/process/ombrel/reason";          // text a frame: why it failed
inline constexpr std::size_t reasonBytes = 128;                     // the last one is 0
} // namespace outputlayout

// The same as addresses in the file, by which it is filled without the library.
struct Hdf5OutputAddresses {
    std::vector<zt::u64> frames;
    zt::u64 framesDone = 0;
    zt::u64 complete = 0;
    zt::u64 failed = 0;
    zt::u64 reason = 0;
    zt::u64 fileSize = 0;
};

// Makes the whole file with nothing done under the output's new name. Throws Error.
Hdf5OutputAddresses makeHdf5Output(const OutputFile& output, const OutputPlan& plan);

} // namespace ombrel
