#pragma once

#include "frame/FrameRow.h"
#include "zt/Types.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// What an output will hold. All of it is known before the first frame is written.
struct OutputPlan {
    std::string path; // the ending chooses the format: .h5 .hdf5 .nxs, or .tif .tiff
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u64 frames = 0;
    zt::u8 pixelType = 0;                   // DT_FLOAT or DT_DOUBLE
    std::string record;                     // what the run is, as JSON; see RunRecord
    std::vector<std::string> settingsFiles; // files that are stored byte for byte
};

// An output as it stands on the disk.
struct OutputState {
    OutputPlan plan;            // without the settings files
    zt::u64 framesDone = 0;     // whose pixels and rows both stand there
    bool complete = false;      // the run came to its end
    std::vector<FrameRow> rows; // of the frames done
};

// A stack of corrected frames being written, in order. Whatever ends the program, what stands on the disk
// opens with stock tools and holds every frame that append() returned for. While it is written, others who
// would write the same file are refused.
class FrameOutput {
public:
    // True for a path whose ending names a format.
    static bool isOutputPath(const std::string& path);
    // What an output of that path keeps in files beside it.
    static std::vector<std::string> filesBeside(const std::string& path);

    // Makes the file with its room on the disk; one that stands at the path is replaced in one step. Throws
    // Error: an unknown ending, no room, a place that can't be written, a file that is being written.
    static std::unique_ptr<FrameOutput> create(const OutputPlan& plan);

    // The output that stands at the path; none when there is nothing. Throws Error when what is there was not
    // made by this program, or is being written.
    static std::optional<OutputState> stateOf(const std::string& path);
    // The same for a run of that record that resumes it: only the frames whose pixels are whole count as
    // done. None when there is no such frame: the run starts again.
    static std::optional<OutputState> stateToResume(const std::string& path, const std::string& record);
    // Resumes after the frames that are done, at least one. Throws Error.
    static std::unique_ptr<FrameOutput> resume(const OutputState& state);
    // The bytes of a settings file that the output at the path was made with. Throws Error.
    static std::string settingsIn(const std::string& path, std::size_t index);

    virtual ~FrameOutput() = default;

    // Writes the next frame, width * height pixels of the plan's type. A failed one is stored as NaN, so that
    // the indexes of the others keep, and has no pixels here. Throws Error.
    virtual void append(std::span<const std::byte> pixels, const FrameRow& row) = 0;
    // Marks the output as complete. Throws Error.
    virtual void finish() = 0;
};

// The pixels that stand for a failed frame in an output: NaN. Throws std::invalid_argument when the plan's
// pixel type is neither float nor double.
std::vector<std::byte> failedFramePixels(const OutputPlan& plan);

} // namespace ombrel
