#pragma once

#include "standalone/Hdf5Handle.h"

#include <string>

namespace ombrel {

// Opens the file for reading, whoever has locked it. Throws Error: "PATH: PROBLEM: the library's reason".
Hdf5FileHandle openHdf5(const std::string& path, const std::string& problem);

} // namespace ombrel
