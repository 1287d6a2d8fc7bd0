#pragma once

#include "calibration/CalibrationGrid.h"

#include <optional>
#include <vector>

namespace ombrel {

// Every second value of each axis that has three or more: a grid whose midpoints have been measured, so that
// interpolation can be tried on them.
struct CoarseGrid {
    CalibrationGrid grid;
    // For each point of the whole grid, in its order:
    std::vector<bool> isKept;
    std::vector<bool> isBetween; // left out, but between points that are kept
};

// Nothing when no axis has three values, or a point that would be kept is a hole.
std::optional<CoarseGrid> coarseGridOf(const CalibrationGrid& grid);

} // namespace ombrel
