#pragma once

#include "base/Console.h"
#include "calibration/CalibrateOptions.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The command line of `ombrel calibrate beam-hardening`.
struct BeamHardeningOptions : CalibrateOptions {
    std::vector<std::string> masks; // "THICKNESS=FILE[,FILE...]"
    std::optional<double> acqTime;  // seconds, of one frame
    bool noInterpolation = false;
    bool zeroAsBad = false;
};

// The work of the command. Throws UsageError or Error, with nothing written.
void calibrateBeamHardening(const BeamHardeningOptions& options, Console& console);

} // namespace ombrel
