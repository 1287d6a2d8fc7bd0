#pragma once

#include "calibration/CalibrationGrid.h"
#include "stack/FrameStack.h"
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

// The flat field of one grid point, in counts a frame. One of its frames is kept out as a test of what the
// others give, where there are others.
struct GridFlat {
    std::vector<double> ofAll;    // mean of all frames
    std::vector<double> ofOthers; // mean without the test frame; of all where it is the only one
    FramePtr test;
    zt::u32 frames = 0;

    bool isTestKeptOut() const { return frames > 1; }
};

// The frames that a grid's table names. Of files that tell their frames apart the flat fields are taken.
class CalibrationGridFlats {
public:
    // Looks into all files. Throws Error that lists, by their lines in the table, the files that can't be
    // read, pages that are not there and frames of another size than the first.
    CalibrationGridFlats(const std::string& tablePath, std::vector<GridRow> tableRows);

    const std::vector<GridRow>& rows() const { return all; }
    zt::u32 width() const { return columns; }
    zt::u32 height() const { return lines; }

    // As FrameStack::unusedDarks().
    std::string unusedDarks() const { return darks.text(); }

    // Reads the frames of a row. Throws Error.
    GridFlat read(std::size_t row) const;

private:
    std::vector<GridRow> all;
    UnusedDarks darks;
    zt::u32 columns = 0;
    zt::u32 lines = 0;
};

} // namespace ombrel
