#pragma once

#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// Small things that stand in an HDF5 file. None when they are not there, or of another kind.

// An attribute of one text.
std::optional<std::string> textAttribute(hid_t object, const char* name);

struct Hdf5Numbers {
    std::vector<double> values;
    std::string unit; // empty when the dataset has none
};

// A dataset of numbers of rank 0 or 1 with `count` of them. Throws Error for one whose sources are missing.
std::optional<Hdf5Numbers> numbersAt(hid_t file, const std::string& path, zt::u64 count);

} // namespace ombrel
