#pragma once

#include "frame/FrameRow.h"
#include "frame/ImageTags.h"
#include "frame/PixelPacking.h"
#include "zt/Types.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The contents of an output. All of it is known before the first frame is written.
struct OutputPlan {
    std::string path; // the suffix selects the format: .h5 .hdf5 .nxs, or .tif .tiff
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u64 frames = 0;
    zt::u8 pixelType = 0;                   // DT_FLOAT or DT_DOUBLE; DT_U16 for packed pixels
    std::string record;                     // describes the run, as JSON; see RunRecord
    std::vector<std::string> settingsFiles; // stored byte for byte
    std::string units = {};                 // of the pixels: "counts"; empty if they are not known
    std::string quantity = {};              // "counts", "transmission" or "attenuation"; likewise
    std::optional<double> level = {};       // counts of the open beam, if known and the same for all frames
    // Adds what is known of the frames to a new HDF5 file that is whole except for their pixels.
    std::function<void(const std::string& newFile)> addMetadata = {};
    std::vector<zt::u32> touched = {}; // of each pixel, see PixelFaults.h; empty if not known
    // Further images of each frame, as floats, by their names next to the frames. HDF5 only.
    std::vector<std::string> planes = {};
    std::optional<PixelPacking> packing = {}; // of pixels in 16 bits
    ImageTags tags = {};                      // of the inputs, for formats that have pages
};

// The names of all planes that outputs may have: standard deviations, and the calibration's part of them.
inline constexpr std::array planeNames{"data_sigma", "data_sigma_calibration"};

// The state of an output on the disk.
struct OutputState {
    OutputPlan plan;            // without the settings files and the touched pixels
    zt::u64 framesDone = 0;     // frames whose pixels and rows are both stored
    bool complete = false;      // the run has finished
    std::vector<FrameRow> rows; // of the frames done
};

// Writes a stack of corrected frames, in order. However the program ends, the file on the disk opens with
// stock tools and holds every frame for which append() returned. While it is written, other writers of the
// same file are refused.
class FrameOutput {
public:
    // Whether the suffix of the path selects a format.
    static bool isOutputPath(const std::string& path);
    // Whether an output at this path is a file of pages, which hold the texts of the plan's tags.
    static bool hasPages(const std::string& path);
    // The files that an output at this path keeps next to it.
    static std::vector<std::string> filesBeside(const std::string& path);

    // Creates the file and allocates its space on the disk; an existing file is replaced atomically. Throws
    // Error for an unknown suffix, a full disk, a path that can't be written or a file that is being written.
    static std::unique_ptr<FrameOutput> create(const OutputPlan& plan);

    // The output at the path; nothing if the file does not exist. Throws Error if the file was not written by
    // this program or is being written.
    static std::optional<OutputState> stateOf(const std::string& path);
    // Like stateOf(), for a run with that record that resumes the output: only frames whose pixels are
    // complete count as done. Nothing if no frame counts, and the run starts from the beginning.
    static std::optional<OutputState> stateToResume(const std::string& path, const std::string& record);
    // Resumes after the frames that are done, which must be at least one. Throws Error.
    static std::unique_ptr<FrameOutput> resume(const OutputState& state);
    // The bytes of a settings file that the run of the output at the path used. Throws Error.
    static std::string settingsIn(const std::string& path, std::size_t index);
    // The touched pixels that the output at the path holds; empty if it holds none. Throws Error.
    static std::vector<zt::u32> touchedIn(const std::string& path);

    virtual ~FrameOutput() = default;

    // Writes the next frame, width * height pixels of the plan's type. A failed frame has no pixels here and
    // is stored as NaN, so that the other frames keep their indexes. Throws Error.
    virtual void append(std::span<const std::byte> pixels, const FrameRow& row) = 0;
    // Writes a plane of the next frame, ahead of its append(): width * height pixels. Not for a failed frame,
    // whose planes are NaN. Throws Error.
    virtual void storePlane(std::size_t plane, std::span<const float> pixels);
    // Marks the output as complete. Throws Error.
    virtual void finish() = 0;
};

// The pixels stored for a failed frame: NaN. Throws std::invalid_argument unless the plan's pixel type is
// float or double, or the pixels are packed.
std::vector<std::byte> failedFramePixels(const OutputPlan& plan);

} // namespace ombrel
