#pragma once

#include "zt/Types.h"

#include <functional>
#include <string>
#include <vector>

namespace ombrel {

// The names of the compressions, as options take them.
std::vector<std::string> compressionNames();

// Copies a complete HDF5 output into a new file, in which images are compressed: a chunk for each. Everything
// else is copied as it is; views of parts become datasets. The pixels are compared with the hashes of their
// frames. Calls `frameDone` after each frame, which returns false to stop.
//
// Throws Error, also if the run stops, and leaves no file then.
void packOutput(const std::string& output, const std::string& packed, const std::string& compression,
                const std::function<bool()>& frameDone);

} // namespace ombrel
