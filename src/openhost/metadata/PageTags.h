#pragma once

#include "frame/ImageTags.h"
#include "hdf5/Hdf5Handle.h"

#include <string>
#include <vector>

namespace ombrel {

// Writes /measurement/tiff into a new HDF5 output of that many frames. Throws Error.
void writePageTags(hid_t file, const ImageTags& tags, zt::u64 frames);

// A dataset of texts, one for each frame. Throws Error.
void writeTexts(hid_t file, const std::string& name, const std::vector<std::string>& texts);

// Texts of that many bytes, padded with zeros.
Hdf5Type textType(std::size_t bytes);

} // namespace ombrel
