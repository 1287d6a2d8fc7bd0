#pragma once

#include "base/FileContent.h"
#include "frame/FrameFile.h"
#include "hdf5/Hdf5Handle.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

struct Hdf5Selection {
    std::vector<std::string> datasets; // mostly one; several are one stack
    // Groups that hold the first dataset or a link to it, its own first. After them the file's detector, for
    // datasets that are outside of it.
    std::vector<std::string> groups;
    std::vector<std::string> files;               // that hold the datasets of the file or their values
    std::optional<std::string> detectorMask = {}; // of the file, if it is known

    // "/exchange/data", "/entry/data/data_000001 to data_000010"
    std::string text() const;
};

// Chooses the dataset that holds the frames: the one that `path` names, or else the first of these that opens
// as numbers of rank 2 to 4: /exchange/data (for flat fields /exchange/data_white); the `data` of an
// NXdetector group; the target of the `default` and `signal` attributes; the only dataset of that kind. The
// attributes decide among several detectors. Numbered datasets of one group (data_000001, data_000002, ...)
// are one stack; `path` may name their group. Throws Error with a list of the contents if no dataset or
// several remain, and with the cause if the sources of a virtual dataset or one of the numbered ones are
// missing, or if the frames may be the target of a link into a missing file.
Hdf5Selection selectDataset(hid_t file, const DatasetPath& path, FrameRole role);

// The dataset of the same path as in another file of a series, found without listing this file. Nothing if
// this file lacks it, or if either file may be an output or reads its frames from further files.
std::optional<Hdf5Selection> selectAlike(hid_t file, const std::string& path, const FrameFileInfo& other);

} // namespace ombrel
