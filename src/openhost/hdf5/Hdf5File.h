#pragma once

#include "frame/FrameFile.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Images.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

struct Hdf5Selection;

// The frames of one dataset of an HDF5 file, or of several numbered ones.
class Hdf5File final : public FrameFile {
public:
    // `path` may be followed by "::/path/of/dataset".
    // `alike` as in FrameFile::open().
    Hdf5File(const std::string& path, FrameRole role, const FrameFileInfo* alike = nullptr);

    double acqTime(zt::u32 frame) const override;

    // Valid while this object exists.
    hid_t handle() const { return file; }
    // The place of a frame among all that the datasets store, whatever their role.
    zt::u32 storedFrame(zt::u32 frame) const { return chosen.empty() ? frame : chosen[frame]; }
    zt::u32 storedFrames() const { return images->shape().frames(); }

private:
    std::optional<RawImage> rawImage(zt::u32 frame, zt::u32 subFrame) const override;
    void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;
    void readPacked(zt::u32 frame, std::span<std::byte> pixels);
    void fillInfo(const std::string& path, const Hdf5Selection& selection);
    void chooseFrames(FrameRole role);
    void readTimes();
    double secondsPerUnit(const std::string& unit) const;

    Hdf5FileHandle file;
    std::optional<Hdf5ImageStack> images;
    std::vector<zt::u32> chosen; // frames of the role in the dataset; empty for all
    std::vector<double> times;   // of each frame in the dataset, if they differ
};

// All files that hold the datasets of an HDF5 file or their values, including the file itself.
std::vector<std::string> hdf5FilesOf(const std::string& path);

} // namespace ombrel
