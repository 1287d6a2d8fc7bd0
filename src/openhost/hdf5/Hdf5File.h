#pragma once

#include "base/FileContent.h"
#include "frame/FrameFile.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Images.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

struct Hdf5Selection {
    std::string dataset;
    std::vector<std::string> groups; // groups that hold the dataset or a link to it, that of `dataset` first
};

// Chooses the dataset that holds the frames: the one that `path` names, or else the first of these that opens
// as numbers of rank 2 to 4: /exchange/data (for flat fields /exchange/data_white); the `data` of an
// NXdetector group; the target of the `default` and `signal` attributes; the only dataset of that kind. The
// attributes decide among several detectors. Throws Error with a list of the contents if no dataset or
// several remain, and with the cause if the sources of a virtual dataset are missing or the frames may be the
// target of a link into a missing file.
Hdf5Selection selectDataset(hid_t file, const DatasetPath& path, FrameRole role);

// The frames of one dataset of an HDF5 file.
class Hdf5File final : public FrameFile {
public:
    // `path` may be followed by "::/path/of/dataset".
    Hdf5File(const std::string& path, FrameRole role);

    double acqTime(zt::u32 frame) const override;

private:
    std::optional<RawImage> rawImage(zt::u32 frame, zt::u32 subFrame) const override;
    void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;
    void fillInfo(const std::string& path, const std::string& dataset);
    void chooseFrames(FrameRole role, const std::vector<std::string>& groups);
    void readTimes(const std::vector<std::string>& groups);
    double secondsPerUnit(const std::string& unit) const;
    zt::u32 storedFrame(zt::u32 frame) const { return chosen.empty() ? frame : chosen[frame]; }

    Hdf5FileHandle file;
    std::optional<Hdf5Images> images;
    std::vector<zt::u32> chosen; // frames of the role in the dataset; empty for all
    std::vector<double> times;   // of each frame in the dataset, if they differ
};

// All files that hold the datasets of an HDF5 file or their values, including the file itself.
std::vector<std::string> hdf5FilesOf(const std::string& path);

} // namespace ombrel
