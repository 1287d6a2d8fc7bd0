#pragma once

#include "frame/Statistics.h"

#include <optional>

namespace ombrel {

struct InspectionReport;
class TileStructure;

// How the good frames change with their number.
struct FieldDrift {
    double level = 0;     // change from the first to the last, relative to the mean level
    bool isLevel = false; // more than the frames scatter
    double pattern = 0;   // the same for the tile that changes most against the level
    Region tile;
    bool isPattern = false; // more than noise
};

// Fits a straight line over the frame number to the level of the good frames, and to each tile's part of it.
// Nothing for fewer than eight good frames.
std::optional<FieldDrift> driftOf(const InspectionReport& report, const TileStructure& structure);

} // namespace ombrel
