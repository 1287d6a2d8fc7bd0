#pragma once

#include "calibration/CalibrateOptions.h"
#include "cli/CommandLine.h"

namespace ombrel::cli {

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options);

// Each adds one calibration to the command "calibrate".
void addAdaptiveCalibration(CLI::App& calibrate, const CommandContext& context);
void addBeamHardeningCalibration(CLI::App& calibrate, const CommandContext& context);
void addFlatFieldCalibration(CLI::App& calibrate, const CommandContext& context);

} // namespace ombrel::cli
