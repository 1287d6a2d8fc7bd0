#pragma once

#include "calibration/CalibrationGrid.h"
#include "zt/Types.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// One line of the table that tells where the flat fields of a grid are.
struct GridRow {
    GridPoint point;
    std::string file;            // as FrameFile opens it
    std::optional<zt::u32> page; // the one frame of the file; without it all of them
    std::size_t line = 0;        // in the table, from 1
};

// Reads a table of comma-separated values. Its first line names the columns: v, t, e and file, and maybe
// page, in any order. Relative files are looked for from the table's folder. Empty lines, and those that
// begin with #, are passed over. Throws Error that lists the lines that can't be read and the points that are
// named twice.
std::vector<GridRow> readGridTable(const std::string& path);

} // namespace ombrel
