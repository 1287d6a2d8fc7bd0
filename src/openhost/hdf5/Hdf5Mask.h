#pragma once

#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The datasets in which detectors and ombrel store masks of bad pixels: `pixel_mask` and the like. In these 0
// is good, unlike in an image that serves as a mask.
bool isMaskDataset(const std::string& path);

// The mask that belongs to frames in one of these groups: in the same group, in its `detectorSpecific`, or,
// for frames outside a detector, in the file's only NXdetector that has one. Empty without such a mask.
// `ofDetector`: maskOfDetector() of this file, if it is known.
std::string maskBeside(hid_t file, const std::vector<std::string>& groups,
                       const std::optional<std::string>& ofDetector = std::nullopt);

// The mask of the file's only NXdetector that has one; empty without.
std::string maskOfDetector(hid_t file);

// An image of whole numbers or booleans that may serve as a mask.
struct Hdf5MaskImage {
    std::string dataset;
    zt::u32 width = 0;
    zt::u32 height = 0;
    bool isBoolean = false;
};

// The mask of a file: the dataset at the path, or else the one that isMaskDataset() nearest to the root, or
// else the only boolean one. Nothing if the file has none of these, and for other numbers than whole ones.
// Throws Error.
std::optional<Hdf5MaskImage> findHdf5Mask(const std::string& path);

// Reads the first image: the low 32 bits of each value; all bits for a value that has none of them. A small
// file may name a huge image, so check its size first. Throws Error.
std::vector<zt::u32> readHdf5Mask(const std::string& file, const Hdf5MaskImage& image);

// Writes a mask as `pixel_mask` of an NXdetector, at which the file's default plot points. Throws Error.
void writeHdf5Mask(const std::string& path, zt::u32 width, zt::u32 height, std::span<const zt::u32> values);

} // namespace ombrel
