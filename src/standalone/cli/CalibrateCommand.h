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

// A settings file that exists is replaced, of whatever filter it is, once --force was given. Throws Error for
// one that does not read as settings: a mistyped name must not cost measured frames.
void checkSettingsOutput(const std::string& output);

// Each adds one calibration to the command "calibrate".
void addAdaptiveCalibration(CLI::App& calibrate, const CommandContext& context);
void addBeamHardeningCalibration(CLI::App& calibrate, const CommandContext& context);
void addFlatFieldCalibration(CLI::App& calibrate, const CommandContext& context);

} // namespace ombrel::cli
