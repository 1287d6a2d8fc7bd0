#include "base/CommandOptions.h"
#include "base/CommandPaths.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "cli/CalibrateCommand.h"
#include "inspection/InspectionReport.h"
#include "run/RunPaths.h"
#include "stack/FrameStack.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

namespace ombrel::cli {

namespace {

CLI::Validator percent() {
    return numberCheck<double>(
        "a number from 0 to 100", [](double value) { return value >= 0 && value <= 100; });
}

void addLimits(CLI::App& command, InspectionLimits& limits) {
    command
        .add_option("--dark-limit", limits.dark, "A flat field below this part of the median level is dark")
        ->check(percent())
        ->type_name("PERCENT")
        ->capture_default_str();
    command
        .add_option("--level-limit", limits.level,
                    "A frame whose level differs more from the median level fails")
        ->check(percent())
        ->type_name("PERCENT")
        ->capture_default_str();
    command
        .add_option("--structure-limit", limits.structure,
                    "A frame with a tile that deviates more from the other frames fails; default: as many "
                    "standard deviations as fail 1 of 100,000 good frames")
        ->check(numberAboveZero())
        ->type_name("SIGMA");
    command.add_option("--saturated-limit", limits.saturated, "A frame with more saturated pixels fails")
        ->check(percent())
        ->type_name("PERCENT")
        ->capture_default_str();
    command
        .add_option("--saturation", limits.saturation,
                    "Pixels of this value or more are saturated; default: the greatest value of 8 and 16 bit "
                    "integers")
        ->check(numberAboveZero())
        ->type_name("COUNTS");
}

struct InspectOptions {
    std::vector<std::string> files;
    InspectionOptions inspection;
    bool force = false;
};

void inspect(const InspectOptions& options, Console& console) {
    checkInspection(options.inspection);
    CommandPaths paths;
    for (const std::string& file : options.files)
        addInput(paths, file);
    addInspectionPaths(paths, options.inspection, options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console);
    FrameStack stack(options.files, FrameRole::Flat);
    FieldInspection inspection(options.inspection, console);
    const auto showTables = [&] {
        for (const InspectionReport& report : inspection.reports())
            console.result(inspectionTable(report));
    };
    try {
        inspection.judge(fieldSetOf(stack, "flat fields"));
        inspection.judgeDarks(options.files);
        inspection.finish();
    } catch (const Error&) {
        showTables();
        throw;
    }
    showTables();
}

} // namespace

void addInspectionOptions(CLI::App& command, InspectionOptions& options) {
    command.add_flag("--keep-all", options.keepAll, "Use flat fields that fail the inspection, too");
    command
        .add_option("--exclude", options.exclude,
                    "Do not use these flat fields, counted from 0 through all inputs")
        ->type_name("N,N-N,...");
    command.add_option("--only", options.only, "Use no other flat fields than these")->type_name("N,N-N,...");
    command
        .add_option("--report", options.report,
                    "Write the figures and verdicts of each flat field; the page has pictures, too")
        ->type_name("FILE.json|FILE.html");
    addLimits(command, options.limits);
}

void addInspectCommand(const CommandContext& context) {
    auto options = std::make_shared<InspectOptions>();
    CLI::App* command =
        context.program.add_subcommand("inspect", "Judge flat fields: level, structure, saturation, repeats");
    command
        ->add_option("FLAT", options->files,
                     "Frame files. If a file marks its frames, its flat fields are judged, and its dark "
                     "fields among themselves")
        ->required()
        ->type_name("FILE");
    addInspectionOptions(*command, options->inspection);
    command->add_flag("--force", options->force, "Replace a report that exists");
    command->footer("Example:\n  ombrel inspect flats.h5 --report flats.html");
    command->callback([=, &console = context.console] { inspect(*options, console); });
}

} // namespace ombrel::cli
