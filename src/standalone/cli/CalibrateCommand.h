#pragma once

#include "standalone/cli/Commands.h"

#include <string>

namespace ombrel::cli {

// What the calibrations have in common.
struct CalibrateOptions {
    std::string output; // the settings file
    bool force = false;
    std::string plugin;
    std::string log;
};

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options);

// Each adds one calibration to the command "calibrate".
void addAdaptiveCalibration(CLI::App& calibrate, const CommandContext& context);
void addBeamHardeningCalibration(CLI::App& calibrate, const CommandContext& context);
void addFlatFieldCalibration(CLI::App& calibrate, const CommandContext& context);

} // namespace ombrel::cli
