#include "base/CommandOptions.h"
#include "base/Error.h"
#include "base/TrialFolder.h"
#include "calibration/FlatFieldCalibration.h"
#include "cli/CommandLine.h"
#include "cli/RunCommand.h"
#include "frame/FrameRange.h"
#include "host/Device.h"
#include "run/RunBench.h"
#include "run/RunPaths.h"
#include "simulation/SimulatedSet.h"
#include "stack/FrameStack.h"

#include <CLI/CLI.hpp>
#include <QJsonDocument>

#include <algorithm>
#include <memory>
#include <string>

namespace ombrel::cli {

namespace {

struct BenchOptions {
    RunOptions run;
    std::string size = "512x512"; // of simulated frames
    unsigned rounds = 3;
    std::string folder;
    bool json = false;
};

// Frames of a simulated detector, and a flat-field correction for them unless the user gave filters.
void simulateInput(BenchOptions& options, const TrialFolder& folder) {
    const FrameSize size = parseFrameSize("--size", options.size);
    simulation::SetPlan plan;
    plan.directory = folder / "set";
    plan.width = size.width;
    plan.height = size.height;
    plan.flats = 10;
    plan.gridSteps = plan.wedgeSteps = 0;
    simulation::writeSet(plan, [] {});
    options.run.inputs = {plan.directory + "/frames.h5"};
    if (!options.run.links.empty())
        return;
    FlatFieldOptions flatField;
    flatField.inputs = options.run.inputs;
    flatField.output = folder / "flat-field.xml";
    flatField.bad = "ff";
    flatField.plugin = options.run.plugin;
    Console unheard([](const std::string&, bool) {}); // its file is gone when the command ends
    calibrateFlatField(flatField, unheard);
    options.run.links = {LinkOptions::parse("Flat-Field=" + flatField.output)};
}

// Without a range, as many frames as an output of this size holds: enough to measure, and quick.
std::string usualFrames(const std::vector<std::string>& inputs) {
    constexpr zt::u64 outputBytes = zt::u64{1} << 30;
    const FrameStack stack(inputs, FrameRole::Sample);
    const zt::u64 frameBytes = sizeof(float) * stack.width() * stack.height();
    return "0:" + std::to_string(std::clamp<zt::u64>(outputBytes / frameBytes, 1, stack.frameCount()));
}

void bench(BenchOptions options, Console& console) {
    if (!options.run.inputs.empty() && options.run.links.empty())
        throw UsageError("INPUT needs a filter; add -f NAME[=SETTINGS.xml]");
    if (!options.run.frames.empty())
        checkFrameRange(options.run.frames);
    const TrialFolder folder =
        options.folder.empty() ? TrialFolder::inTemporary() : TrialFolder(options.folder);
    options.run.output = folder / "corrected.h5";
    options.run.discardLogs = true;
    pathsOf(options.run).check(console, options.run.log);
    if (options.run.inputs.empty())
        simulateInput(options, folder);
    if (options.run.frames.empty())
        options.run.frames = usualFrames(options.run.inputs);
    const BenchResult result = measureRun(options.run, options.rounds, console);
    console.result(options.json ? QJsonDocument(result.toJson()).toJson(QJsonDocument::Indented).toStdString()
                                : result.text());
}

} // namespace

void addBenchCommand(const CommandContext& context) {
    auto options = std::make_shared<BenchOptions>();
    options->run.frames.clear();
    CLI::App* command =
        context.program.add_subcommand("bench", "Measure the speed of a chain of filters on this machine");
    CLI::Option* const input = addInputOption(*command, options->run);
    addFilterOption(*command, options->run);
    addCorrectionOptions(*command, options->run);
    command->add_option("--size", options->size, "Width and height of simulated frames, without INPUT")
        ->excludes(input)
        ->type_name("WxH")
        ->capture_default_str();
    command->add_option("--rounds", options->rounds, "Correct the frames this many times")
        ->check(wholeNumber(1, 1000))
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--folder", options->folder, "Where to write the output, which is removed at the end")
        ->type_name("DIR");
    command->add_flag("--json", options->json, "As JSON");
    addJobsOption(*command, options->run.jobs);
    addDeviceOptions(*command, options->run);
    addLogOption(*command, options->run.log);
    addPluginOption(*command, options->run.plugin);
    command->footer("Examples:\n"
                    "  ombrel bench\n"
                    "  ombrel bench -f Flat-Field=ff.xml --folder /data scan.h5");
    command->callback([=, &console = context.console] { bench(*options, console); });
}

} // namespace ombrel::cli
