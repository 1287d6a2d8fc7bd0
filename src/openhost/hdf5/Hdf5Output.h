#pragma once

#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "hdf5/Hdf5Handle.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace ombrel {

// None for a file that is no output of ours with that many frames.
std::optional<RunState> readRunState(hid_t file, zt::u32 frames);

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

// Frames as a dataset in the Data Exchange layout, with what was done beside it. The file has its final size
// from the start and is filled in place: frame, its row in the table, the count of frames done. So it can be
// opened after any end of the program, and holds each frame that the count covers.
class Hdf5Output final : public FrameOutput {
public:
    explicit Hdf5Output(const OutputPlan& plan);
    // Goes on with an output that stands on the disk.
    explicit Hdf5Output(const OutputState& state);

    void append(std::span<const std::byte> pixels, const FrameRow& row) override;
    void finish() override;

private:
    void storeSettings(const OutputPlan& plan);

    OutputFile file;
    std::vector<std::byte> failedFrame;
    Hdf5OutputAddresses addresses;
    zt::u64 framesDone = 0;
};

} // namespace ombrel
