#include "cli/CalibrateCommand.h"

#include "base/CommonOptions.h"

#include <CLI/CLI.hpp>

namespace ombrel::cli {

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options) {
    command.add_option("-o,--output", options.output, "The settings file to write")
        ->required()
        ->type_name("FILE.xml");
    command.add_flag("--force", options.force, "Replace files that exist");
    addLogOption(command, options.log);
    addPluginOption(command, options.plugin);
}

void addCalibrateCommand(const CommandContext& context) {
    CLI::App* command =
        context.program.add_subcommand("calibrate", "Make the settings of a filter from measured frames");
    command->require_subcommand(1);
    addAdaptiveCalibration(*command, context);
    addFlatFieldCalibration(*command, context);
    addBeamHardeningCalibration(*command, context);
}

} // namespace ombrel::cli
