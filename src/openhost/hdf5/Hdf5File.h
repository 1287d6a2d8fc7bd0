#pragma once

#include "frame/FrameFile.h"
#include "hdf5/Hdf5Images.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The frames of one dataset of an HDF5 file.
class Hdf5File final : public FrameFile {
public:
    // `path` may go on with "::/path/of/dataset".
    Hdf5File(const std::string& path, FrameRole role);

    void readImage(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;
    double acqTime(zt::u32 frame) const override;

private:
    void fillInfo(const std::string& path, const std::string& dataset);
    void chooseFrames(FrameRole role, const std::vector<std::string>& groups);
    void readTimes(const std::vector<std::string>& groups);
    double secondsPerUnit(const std::string& unit) const;
    zt::u32 storedFrame(zt::u32 frame) const { return chosen.empty() ? frame : chosen[frame]; }

    Hdf5FileHandle file;
    std::optional<Hdf5Images> images;
    std::vector<zt::u32> chosen; // the frames of the role in the dataset; empty when all are
    std::vector<double> times;   // of each frame in the dataset, when they differ
};

// The files that the datasets of an HDF5 file are in or take their values from, itself among them.
std::vector<std::string> hdf5FilesOf(const std::string& path);

} // namespace ombrel
