#pragma once

#include "frame/Region.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// Writes a grey picture of the first frame of each file, side by side from left to right, each with robust
// limits of its own; of a part of the frames when a region is given. Throws Error.
void writeFramePicture(const std::string& picturePath, const std::vector<std::string>& files,
                       const std::optional<Region>& region);

} // namespace ombrel
