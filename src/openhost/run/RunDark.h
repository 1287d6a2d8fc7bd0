#pragma once

#include "base/Console.h"
#include "frame/RunRecord.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFiles.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

struct RunSetup;

// What the calibration of a link knows of its flat fields.
struct LinkFacts {
    std::string settings; // the path
    CalibrationFacts calibration;
    FilterGroups groups = FilterGroups::Unknown;
};

// The dark that the calibrations of a chain carry; those that carry none have nothing to say about it. Throws
// Error if they carry different ones.
std::optional<DarkField> darkOfCalibrations(const std::vector<LinkFacts>& links);

// What a run subtracts from each frame before the chain: the dark that its calibrations carry, the mean of
// the file that the options name, or nothing. Its filters must be loaded. Throws Error if calibrations carry
// different darks, or the dark has another size than the frames.
std::optional<DarkField> darkOf(RunSetup& setup, Console& console);

// The message that the inputs hold dark frames that are not used; empty if the user wants that.
std::string unusedDarks(const RunSetup& setup);

void recordDark(RunRecord& record, const RunSetup& setup);

} // namespace ombrel
