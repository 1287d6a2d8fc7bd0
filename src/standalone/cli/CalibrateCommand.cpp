#include "standalone/cli/CalibrateCommand.h"

#include <CLI/CLI.hpp>

namespace ombrel::cli {

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options) {
    command.add_option("-o,--output", options.output, "The settings file to write")
        ->required()
        ->type_name("FILE.xml");
    command.add_flag("--force", options.force, "Replace files that exist");
    command.add_option("--log", options.log, "Append messages to a file, and what filters print")
        ->type_name("FILE");
    command
        .add_option("--plugin", options.plugin, "The plug-in's library, where it is not the installed one")
        ->type_name("FILE");
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
