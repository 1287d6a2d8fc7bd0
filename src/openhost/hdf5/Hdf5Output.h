#pragma once

#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "hdf5/Hdf5Handle.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace ombrel {

// Empty unless the file was written by ombrel and has that many frames.
std::optional<RunState> readRunState(hid_t file, zt::u32 frames);

class OutputFile;

// Paths of the objects in an HDF5 output.
namespace outputlayout {
inline constexpr char data[] = "/exchange/data";
inline constexpr char planes[] = "/exchange/";                      // followed by the name of a plane, f32
inline constexpr char framesDone[] = "/process/ombrel/frames_done"; // u64
inline constexpr char complete[] = "/process/ombrel/complete";      // u8: 1 after the run has finished
inline constexpr char frames[] = "/process/ombrel/frames";          // one row per frame, see StoredFrameRow
inline constexpr char clipped[] = "/process/ombrel/clipped";        // u64 of each frame; for packed pixels
inline constexpr char record[] = "/process/ombrel/record";          // text: the run as JSON
inline constexpr char touched[] = "/process/ombrel/touched";        // u32 of each pixel, see PixelFaults.h
inline constexpr char settings[] = "/process/ombrel/settings/";     // followed by a number: bytes of a file
} // namespace outputlayout

// The addresses of the frames' pixels: at equal distances, or listed if the library placed them differently.
struct Hdf5FrameAddresses {
    zt::u64 first = 0;
    zt::u64 distance = 0;
    zt::u64 count = 0;
    std::vector<zt::u64> listed; // empty for equal distances

    zt::u64 of(zt::u64 frame) const { return listed.empty() ? first + frame * distance : listed[frame]; }
};

// The addresses of all objects in the file, which is filled without the library.
struct Hdf5OutputAddresses {
    Hdf5FrameAddresses frames;
    std::vector<Hdf5FrameAddresses> planes; // of the plan
    std::vector<zt::u64> settings;
    zt::u64 framesDone = 0;
    zt::u64 complete = 0;
    zt::u64 rows = 0;
    zt::u64 touched = 0;
    zt::u64 clipped = 0; // 0 if pixels are not packed
    zt::u64 fileSize = 0;
};

// Creates the whole file, with no frame done, under the output's new name. The contents of the settings files
// are written later. Throws Error.
Hdf5OutputAddresses makeHdf5Output(const OutputFile& output, const OutputPlan& plan);

// The output at a path, its addresses, and the bytes of one of its settings files. Throw Error.
OutputState readHdf5Output(const std::string& path);
Hdf5OutputAddresses addressesInHdf5Output(const std::string& path);
// For resuming. Throws Error for a packed output too.
std::optional<OutputState> hdf5StateToResume(const std::string& path);
std::string settingsInHdf5Output(const std::string& path, std::size_t index);

// Empty if the output holds no map. Throws Error.
std::vector<zt::u32> touchedInHdf5Output(const std::string& path);

// Stores frames as a dataset in the Data Exchange layout, next to a description of the run. The file has its
// final size from the start and is filled in place: the frame, its row in the table, the count of frames
// done. So it can be opened however the program ended, and holds each frame included in the count.
class Hdf5Output final : public FrameOutput {
public:
    explicit Hdf5Output(const OutputPlan& plan);
    // Resumes an existing output.
    explicit Hdf5Output(const OutputState& state);

    void append(std::span<const std::byte> pixels, const FrameRow& row) override;
    void storePlane(std::size_t plane, std::span<const float> pixels) override;
    void finish() override;

private:
    void storeSettings(const OutputPlan& plan);

    OutputFile file;
    std::vector<std::byte> failedFrame;
    std::size_t planePixels;
    Hdf5OutputAddresses addresses;
    zt::u64 framesDone = 0;
};

} // namespace ombrel
