#pragma once

#include "frame/FrameFile.h"
#include "zt/Types.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The faults of a detector's pixels; see PixelFaults.h.
struct PixelMask {
    zt::u32 width = 0;
    zt::u32 height = 0;
    std::vector<zt::u32> faults;
    std::string source; // "FILE::/path/of/dataset", or the file

    zt::u64 masked() const;
    // One byte a pixel, 0 for a masked one, as filters see it.
    std::vector<zt::u8> deviceBytes() const;
    // Of these bytes.
    std::string hash() const;
};

// Where the mask of the device comes from, and what its values mean.
struct MaskOptions {
    std::string source = "auto"; // auto, none or a file
    std::string convention; // "nexus": 0 is good; "ones-good": 0 is masked; empty: as the file's kind has it
    bool isFile() const { return source != "auto" && source != "none"; }
};

// Reads the mask of a file for frames of a size:
//   - an HDF5 dataset in which detectors store masks: 0 is good, and its bits are reasons
//   - another image of numbers or booleans, in HDF5 or TIFF: 0 is masked
//   - the JSON list of bad pixels of areaDetector's NDPluginBadPixel
//   - the text list that writePixelMask() writes
// Throws Error for another size, if all pixels are masked, and if a plain image without a convention masks
// more than half of them.
PixelMask readPixelMask(const std::string& path, const std::string& convention, zt::u32 width,
                        zt::u32 height);

// The mask of the device for frames of a file, which may hold it. Nothing without a mask. Throws Error.
std::optional<PixelMask> deviceMaskFor(const MaskOptions& options, const FrameFileInfo& frames);
// "using the mask next to the frames, FILE::/path: 12 pixels masked"; empty for a mask that the user named.
std::string maskNote(const MaskOptions& options, const PixelMask& mask);

// Whether the suffix selects a format of writePixelMask().
bool isMaskPath(const std::string& path);
// Writes the mask: as NeXus with all reasons (.h5, .hdf5, .nxs), as a TIFF image in which bad pixels are 0
// and others 1, or as a text list (.txt). Throws Error.
void writePixelMask(const std::string& path, const PixelMask& mask);

} // namespace ombrel
