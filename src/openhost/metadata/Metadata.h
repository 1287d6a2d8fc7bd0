#pragma once

#include "frame/ImageTags.h"
#include "zt/Types.h"

#include <string>
#include <vector>

namespace ombrel {

// Frames of one file, as FrameRole::Sample counts them.
struct FramesOfFile {
    std::string path; // with the dataset, if it was named
    zt::u32 begin = 0;
    zt::u32 end = 0;
};

// Adds to a new HDF5 output, whose frames are those of the sources one after the other, what the sources hold
// on them: from the Data Exchange layout /exchange, /measurement and /process, from an NXtomo its entry.
// Objects are copied as they are. Datasets with a number for each frame are cut to the frames of the output
// and joined; of the others those of the first source are taken. Left out is what is large, has an image for
// each frame, or refers to other objects. Sources of other formats have nothing to add.
//
// Throws Error if the output cannot be written; what cannot be read is left out.
// Of TIFF sources, their resolution and texts become /measurement/tiff.
void copyMetadata(const std::vector<FramesOfFile>& sources, const std::string& newFile, bool isNexus);

// What TIFF sources hold on the same frames; of HDF5 sources, the resolution that follows from the detector's
// pixel sizes. Empty for other formats and for a mixture. What the frames do not have in common is left out
// if it would be large.
ImageTags imageTagsOf(const std::vector<FramesOfFile>& sources);

// The paths of the datasets that a run with these frames adds to its output, ascending. Throws Error.
std::vector<std::string> metadataOf(const FramesOfFile& frames);

} // namespace ombrel
