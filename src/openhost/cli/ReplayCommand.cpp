#include "base/CommonOptions.h"
#include "base/NumberCheck.h"
#include "cli/Commands.h"
#include "cli/Replay.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

void addReplayCommand(const CommandContext& context) {
    auto options = std::make_shared<ReplayOptions>();
    CLI::App* command = context.program.add_subcommand(
        "replay", "Make an output again from what it says of itself, and compare");
    command->add_option("OUTPUT", options->recorded, "An output of ombrel run")
        ->required()
        ->type_name("FILE");
    command->add_option("-o,--output", options->output, "The new output: .h5, .hdf5, .nxs, .tif or .tiff")
        ->required()
        ->type_name("FILE");
    addJobsOption(*command, options->jobs);
    command->add_flag("--force", options->force, "Replace an output that exists");
    addLogOption(*command, options->log);
    addPluginOption(*command, options->plugin);
    command->add_flag("-q,--quiet", options->quiet, "No progress and no summary");
    command->footer("Example:\n"
                    "  ombrel replay corrected.h5 -o again.h5");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = replay(*options, console);
    });
}

} // namespace ombrel::cli
