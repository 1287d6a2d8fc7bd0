#pragma once

#include "calibration/CalibrationGrid.h"
#include "inspection/FieldInspection.h"
#include "settings/CalibrationFacts.h"
#include "stack/FrameStack.h"
#include "zt/Types.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// One line of the table that lists the files of a grid's flat fields.
struct GridRow {
    GridPoint point;
    std::string file;            // in the form that FrameFile opens
    std::optional<zt::u32> page; // a single frame of the file; without it, all of them
    std::size_t line = 0;        // in the table, from 1
};

// Reads a table of comma-separated values. Its first line names the columns: v, t, e and file, optionally
// page, in any order. Relative paths start from the table's folder. Empty lines and those that begin with #
// are skipped. Throws Error that lists the unreadable lines and the repeated points.
std::vector<GridRow> readGridTable(const std::string& path);

// The flat field of one grid point, in counts a frame. If there are several frames, one of them is kept out
// to test the result of the others.
struct GridFlat {
    std::vector<double> ofAll;    // mean of all frames
    std::vector<double> ofOthers; // mean without the test frame; of all if it is the only one
    FramePtr test;
    zt::u32 frames = 0;

    bool isTestKeptOut() const { return frames > 1; }
};

// The frames that a grid's table names. If a file marks its frames, only the flat fields are used.
class CalibrationGridFlats {
public:
    // Examines all files. Throws Error that lists, by line of the table, unreadable files, missing pages and
    // frames whose size differs from the first.
    CalibrationGridFlats(const std::string& tablePath, std::vector<GridRow> tableRows);

    const std::vector<GridRow>& rows() const { return all; }
    zt::u32 width() const { return columns; }
    zt::u32 height() const { return lines; }

    // Judges the frames of each row among themselves; read() then uses those that are good. Throws Error.
    void inspect(FieldInspection& inspection);
    // The dark is subtracted from all frames that read() returns. Throws Error for another size.
    void subtract(const DarkField& dark, Console& console);
    // Null without one.
    const DarkField* subtractedDark() const { return subtracted ? &*subtracted : nullptr; }

    // Reads the frames of a row. Throws Error.
    GridFlat read(std::size_t row) const;

private:
    std::vector<GridRow> all;
    std::vector<std::vector<zt::u32>> used; // the frames of each row's file
    std::optional<DarkField> subtracted;
    zt::u32 columns = 0;
    zt::u32 lines = 0;
};

} // namespace ombrel
