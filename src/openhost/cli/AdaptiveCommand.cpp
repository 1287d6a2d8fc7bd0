#include "base/Error.h"
#include "base/NumberCheck.h"
#include "calibration/AdaptiveCalibration.h"
#include "cli/CalibrateCommand.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>

namespace ombrel::cli {

namespace {

bool isSettingsName(const std::string& path) {
    const std::filesystem::path name(path);
    return name.extension() == ".xml" && !name.stem().empty();
}

void calibrate(const AdaptiveOptions& options, Console& console) {
    if (options.output.empty() == options.check.empty())
        throw UsageError("give either -o NAME.xml to calibrate, or --check NAME.xml to try a calibration");
    const std::string& name = options.check.empty() ? options.output : options.check;
    if (!isSettingsName(name))
        throw UsageError(name + ": the name must end in \".xml\"; the flat fields are in NAME.bin beside it");
    if (options.check.empty())
        calibrateAdaptive(options, console);
    else
        checkAdaptive(options, console);
}

void addOptions(CLI::App& command, AdaptiveOptions& options) {
    command
        .add_option("--grid", options.grid,
                    "Table of the flat fields: v,t,e,file and maybe page, for every point of the grid")
        ->required()
        ->type_name("GRID.csv");
    addCalibrateOptions(command, options);
    command.get_option("--output")->required(false);
    command.add_option("--check", options.check, "Write nothing; show how settings do on the grid's frames")
        ->type_name("NAME.xml");
    command.add_option("--hole", options.holes, "A grid point that is left out on purpose; repeatable")
        ->allow_extra_args(false)
        ->type_name("V,T,E");
    command
        .add_option("--element", options.element, "Side of one sensor element in pixels; default: the width")
        ->check(numberCheck<zt::i32>("a whole number above 0", [](zt::i32 side) { return side > 0; }))
        ->type_name("N");
    command
        .add_option("--compensation-mask", options.compensationMask, "A frame that multiplies every frame")
        ->type_name("FILE");
    command.add_flag("--normalise", options.normalise,
                     "Divide each flat field by its mean, so that frames keep their level");
    command
        .add_option("--set", options.assignments,
                    "Set a key of the settings instead of choosing it; repeatable")
        ->allow_extra_args(false)
        ->type_name("KEY=VALUE");
    command.add_flag("-q,--quiet", options.quiet, "No progress");
}

} // namespace

void addAdaptiveCalibration(CLI::App& program, const CommandContext& context) {
    auto options = std::make_shared<AdaptiveOptions>();
    CLI::App* command = program.add_subcommand(
        "adaptive", "Settings and flat fields of AdaptiveFF from a grid of flat fields");
    addOptions(*command, *options);
    command->footer("Example:\n"
                    "  ombrel calibrate adaptive --grid data/grid.csv --normalise -o adaptive.xml\n"
                    "  ombrel run -f AdaptiveFF=adaptive.xml data/drifting.h5 -o corrected.h5");
    command->callback([=, &console = context.console] { calibrate(*options, console); });
}

} // namespace ombrel::cli
