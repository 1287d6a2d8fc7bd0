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
    std::vector<std::string> groups; // that hold the dataset or a link to it, the one of `dataset` first
};

// Chooses the dataset that holds the frames: the one that `path` names, else the first of these that really
// opens as numbers of rank 2 to 4: /exchange/data (for flat fields /exchange/data_white); the `data` of an
// NXdetector group; what the `default` and `signal` attributes lead to; the only dataset of that kind. Among
// several detectors the attributes decide. Throws Error that lists what there is when that leaves none or
// several, and one that names the cause when the dataset is a view whose sources are missing, or when the
// frames may be what a link into a missing file led to.
Hdf5Selection selectDataset(hid_t file, const DatasetPath& path, FrameRole role);

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
