#pragma once

#include "frame/PixelPacking.h"
#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A dataset as a stack of images: rank 2 is one frame, rank 3 frames, rank 4 frames by sub-frames.
struct Hdf5Shape {
    std::vector<hsize_t> extent; // slowest axis first
    zt::u8 pixelType = 0;

    zt::u32 width() const { return static_cast<zt::u32>(extent.back()); }
    zt::u32 height() const { return static_cast<zt::u32>(extent[extent.size() - 2]); }
    zt::u32 frames() const { return extent.size() == 2 ? 1 : static_cast<zt::u32>(extent[0]); }
    zt::u32 subFrames() const { return extent.size() == 4 ? static_cast<zt::u32>(extent[1]) : 0; }
};

// The pixel type that holds every value of an HDF5 type; nothing if it is not a number, or too wide.
std::optional<zt::u8> pixelTypeOfHdf5(hid_t type);

// The HDF5 type of pixels in memory.
hid_t nativeHdf5Type(zt::u8 pixelType);

// The HDF5 type of an output's pixels in its file.
Hdf5Type storedHdf5Type(zt::u8 pixelType, const std::optional<PixelPacking>& packing);

// How 16-bit pixels of a dataset were packed, if its attributes say so: `scale_factor` and `add_offset`, as
// in the convention for climate data, and `_FillValue` for NaN.
std::optional<PixelPacking> packingOfHdf5(hid_t dataset);

// Nothing unless the object is a dataset of numbers of rank 2 to 4 with at least one pixel. Hdf5Sources must
// have checked the sources of a virtual dataset.
std::optional<Hdf5Shape> shapeOfImages(hid_t object);
// Like shapeOfImages(), for a virtual dataset whose sources must not be opened: its original shape.
std::optional<Hdf5Shape> shapeOfBrokenImages(hid_t dataset);

// "100 x 512 x 512 u16".
std::string shapeText(const Hdf5Shape& shape);

// Small objects in an HDF5 file; nothing if the object is missing or of another kind.

// An attribute with a single text.
std::optional<std::string> textAttribute(hid_t object, const char* name);

// An attribute with a single number.
std::optional<double> numberAttribute(hid_t object, const char* name);

struct Hdf5Numbers {
    std::vector<double> values;
    std::string unit; // empty if the dataset has no unit
};

// A dataset of numbers of rank 0 or 1 with `count` elements. Throws Error if its sources are missing.
std::optional<Hdf5Numbers> numbersAt(hid_t file, const std::string& path, zt::u64 count);

// Seconds in a unit of time as written by UDUNITS: "ms", "millisecond", "min". Throws Error, with the reason
// only, if the unit is not a time or the database of units cannot be read.
double secondsIn(const std::string& unit);

// The same for metres in a unit of length.
double metresIn(const std::string& unit);

} // namespace ombrel
