#pragma once

#include "frame/FrameOutput.h"

#include <cstddef>
#include <vector>

namespace ombrel {

class OutputFile;

// Where things stand in an HDF5 output of ours.
namespace outputlayout {
inline constexpr char data[] = "/exchange/data";
inline constexpr char framesDone[] = "/process/ombrel/frames_done"; // u64
inline constexpr char complete[] = "/process/ombrel/complete";      // u8: 1 when the run came to its end
inline constexpr char frames[] = "/process/ombrel/frames";          // a row a frame, see StoredFrameRow
inline constexpr char record[] = "/process/ombrel/record";          // text: the run as JSON
inline constexpr char settings[] = "/process/ombrel/settings/";     // and a number: bytes of a file
} // namespace outputlayout

// Where the pixels of each frame stand: at equal distances, or, when the library took other places, as
// listed.
struct Hdf5FrameAddresses {
    zt::u64 first = 0;
    zt::u64 distance = 0;
    zt::u64 count = 0;
    std::vector<zt::u64> listed; // empty where the distances are equal

    zt::u64 of(zt::u64 frame) const { return listed.empty() ? first + frame * distance : listed[frame]; }
};

// The same as addresses in the file, by which it is filled without the library.
struct Hdf5OutputAddresses {
    Hdf5FrameAddresses frames;
    std::vector<zt::u64> settings;
    zt::u64 framesDone = 0;
    zt::u64 complete = 0;
    zt::u64 rows = 0;
    zt::u64 fileSize = 0;
};

// Makes the whole file with nothing done under the output's new name; the places of the settings files are
// yet to be filled. Throws Error.
Hdf5OutputAddresses makeHdf5Output(const OutputFile& output, const OutputPlan& plan);

// The output that stands at a path, where its things are, and the bytes of a settings file that it was made
// with. Throw Error.
OutputState readHdf5Output(const std::string& path);
Hdf5OutputAddresses addressesInHdf5Output(const std::string& path);
std::string settingsInHdf5Output(const std::string& path, std::size_t index);

} // namespace ombrel
