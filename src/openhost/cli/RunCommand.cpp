#include "base/CommonOptions.h"
#include "base/NumberCheck.h"
#include "cli/Commands.h"
#include "cli/RunFrames.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

namespace {

// What is corrected, and how.
void addCorrectionOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option("INPUT", options.inputs,
                    "Frame files; of an HDF5 file one dataset by FILE::/path/of/dataset")
        ->required()
        ->type_name("FILE");
    command.add_option("-o,--output", options.output, "Output: .h5, .hdf5, .nxs, .tif or .tiff")
        ->required()
        ->type_name("FILE");
    command.add_option("-f,--filter", options.filters, "A filter, with its settings; repeat it for a chain")
        ->required()
        ->allow_extra_args(false)
        ->type_name("NAME[=SETTINGS.xml]");
    command
        .add_option("-p,--param", options.params, "Set a parameter once all settings are loaded; repeatable")
        ->allow_extra_args(false)
        ->type_name("FILTER:PARAM=VALUE");
    command.add_option("--output-type", options.outputType, "Pixels of the output")
        ->check(CLI::IsMember({"f32", "f64"}).description(""))
        ->type_name("f32|f64")
        ->capture_default_str();
    command.add_option("--frames", options.frames, "Frames A to B-1 of all inputs taken together")
        ->type_name("A:B");
    command.add_option("--acq-time", options.acqTime, "Acquisition time of every frame")
        ->check(numberAboveZero())
        ->type_name("SECONDS");
    command.add_flag("--replace", options.replace, "Correct in place instead of asking for a copy");
}

// How the run goes, and what it tells.
void addRunOptions(CLI::App& command, RunOptions& options) {
    CLI::Option* force =
        command.add_flag("--force", options.force, "Replace an output, a report or previews that exist");
    command.add_flag("--resume", options.resume, "Go on with an output that was cut off")->excludes(force);
    command.add_flag("--dry-run", options.dryRun, "Check everything, and change nothing");
    addJobsOption(command, options.jobs, "; the output is the same for every number");
    command.add_option("--device-type", options.deviceType, "Type of the device behind the chain")
        ->check(wholeNumber<int>())
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--device-mask", options.deviceMask, "Pixel mask of the device: a frame, 0 is masked")
        ->type_name("FILE");
    command.add_flag("--no-choice", options.noChoice,
                     "Do not record which grid point AdaptiveFF chose for each frame");
    command.add_option("--report", options.report, "Figures of each frame, as JSON")->type_name("FILE.json");
    command.add_option("--preview", options.preview, "A picture of each frame, raw beside corrected")
        ->type_name("DIR");
    addLogOption(command, options.log);
    addPluginOption(command, options.plugin);
    command.add_flag("-q,--quiet", options.quiet, "No progress and no summary");
}

} // namespace

void addRunCommand(const CommandContext& context) {
    auto options = std::make_shared<RunOptions>();
    CLI::App* command = context.program.add_subcommand("run", "Pass frames through a chain of filters");
    addCorrectionOptions(*command, *options);
    addRunOptions(*command, *options);
    command->footer(
        "Examples:\n"
        "  ombrel run -f \"Binning 2x2\" frames.h5 -o binned.h5\n"
        "  ombrel run -f \"Binning 2x2\" --frames 0:10 --output-type f64 a.tif b.tif -o binned.tif\n"
        "  ombrel run -f Flat-Field=ff.xml -j 4 --resume frames.h5 -o corrected.h5");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = runFrames(*options, console);
    });
}

} // namespace ombrel::cli
