#pragma once

#include "base/FileKind.h"
#include "frame/FrameFile.h"
#include "hdf5/Hdf5Handle.h"

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

} // namespace ombrel
