#pragma once

#include "base/CommandPaths.h"
#include "base/Console.h"
#include "calibration/CalibrateOptions.h"
#include "calibration/CalibrationGridTable.h"
#include "calibration/GridRefinement.h"
#include "zt/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The command line of `ombrel calibrate adaptive`.
struct AdaptiveOptions : CalibrateOptions {
    std::string grid;
    std::string check; // settings to try instead of writing an output
    std::vector<std::string> holes;
    std::optional<zt::i32> element;
    std::string compensationMask;
    bool normalise = false;
    std::vector<std::string> assignments; // "KEY=VALUE"
    RefineOptions refine;
    bool quiet = false;
};

// The work of the command: writes NAME.xml and NAME.bin. A program that is killed before both are in place
// leaves the old pair, or one that checkHeap() refuses. Throws UsageError or Error.
void calibrateAdaptive(const AdaptiveOptions& options, Console& console);

// Tries NAME.xml with NAME.bin, unchanged, next to the settings that a calibration would try. Writes nothing.
// Throws UsageError or Error.
void checkAdaptive(const AdaptiveOptions& options, Console& console);

// All paths that both commands read. `rows` are those of the table.
CommandPaths inputsOf(const AdaptiveOptions& options, const std::vector<GridRow>& rows);

// Judges the frames and the dark frames of a grid; the dark is then subtracted from the frames. Throws Error.
std::optional<DarkField> inspectGrid(CalibrationGridFlats& flats, FieldInspection& inspection,
                                     const AdaptiveOptions& options, Console& console);

// The pixels of the mask, empty if no file is given. Throws Error when it has another size.
std::vector<float> readCompensationMask(const std::string& path, zt::u32 width, zt::u32 height);

} // namespace ombrel
