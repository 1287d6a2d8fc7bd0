#pragma once

#include "inspection/FlatInspection.h"
#include "inspection/TileStructure.h"

#include <optional>

namespace ombrel {

// Fits a straight line over the frame number to the level of the good frames, and to each tile's part of it.
// Nothing for fewer than eight good frames.
std::optional<FieldDrift> driftOf(const InspectionReport& report, const TileStructure& structure);

} // namespace ombrel
