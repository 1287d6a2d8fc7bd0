#pragma once

#include "frame/FrameOutput.h"
#include "hdf5/Hdf5Writer.h"

#include <string>

namespace ombrel {

// Paths of an NXtomo, next to those of the Data Exchange layout.
namespace nexuslayout {
inline constexpr char entry[] = "/entry";
inline constexpr char view[] = "/entry/data";
inline constexpr char instrument[] = "/entry/instrument";
inline constexpr char detector[] = "/entry/instrument/detector";
inline constexpr char sample[] = "/entry/sample";
} // namespace nexuslayout

// Whether an output of that name is an NXtomo: its suffix is .nxs.
bool isNexusPath(const std::string& path);

// Marks the frames of a new output, whose dataset exists, so that readers of NeXus show them as the default.
// The group /exchange is an NXdata. In an NXtomo the dataset gets further names, and /entry is the default.
void markFrames(Hdf5Writer& writer, const OutputPlan& plan);

} // namespace ombrel
