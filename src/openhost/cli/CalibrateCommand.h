#pragma once

#include "calibration/CalibrateOptions.h"
#include "cli/CommandLine.h"
#include "inspection/FieldInspection.h"

namespace ombrel::cli {

void addInspectionOptions(CLI::App& command, InspectionOptions& options);
void addCalibrateOptions(CLI::App& command, CalibrateOptions& options);

// Each adds one calibration to the command "calibrate".
void addAdaptiveCalibration(CLI::App& calibrate, const CommandContext& context);
void addBadPixelCalibration(CLI::App& calibrate, const CommandContext& context);
void addBeamHardeningCalibration(CLI::App& calibrate, const CommandContext& context);
void addCountRateCalibration(CLI::App& calibrate, const CommandContext& context);
void addFlatFieldCalibration(CLI::App& calibrate, const CommandContext& context);

} // namespace ombrel::cli
