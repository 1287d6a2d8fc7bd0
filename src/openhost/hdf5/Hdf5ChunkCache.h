#pragma once

#include "hdf5/Hdf5Handle.h"

#include <string>

namespace ombrel {

// Opens a dataset with a chunk cache that holds the chunks of one frame, so that reading frame by frame
// decompresses a chunk that spans several frames only once. Bounded; not open when the library refuses.
Hdf5Dataset openWithChunkCache(hid_t file, const std::string& path);

} // namespace ombrel
