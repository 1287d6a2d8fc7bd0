#include "base/CommandOptions.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Resources.h"
#include "base/TrialFolder.h"
#include "cli/CommandLine.h"
#include "cli/RunCommand.h"
#include "cluster/ClusterRun.h"
#include "run/RunBench.h"
#include "run/RunPaths.h"

#include <CLI/CLI.hpp>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

namespace ombrel::cli {

namespace {

namespace fs = std::filesystem;
using cluster::ClusterPlan;

struct ClusterOptions {
    RunOptions run;
    std::vector<const CLI::Option*> shared; // of the run, which all parts get as they are
    std::optional<zt::u64> partFrames;
    std::optional<double> partTime; // seconds
    std::optional<unsigned> cores;
    std::vector<std::string> jobOptions;
    bool dryRun = false;
    bool json = false;
};

// The parser divides a list of values at its delimiter.
std::vector<std::string> valuesOf(const CLI::Option& option) {
    if (option.get_delimiter() == '\0')
        return option.results();
    std::string joined;
    for (const std::string& value : option.results())
        joined += (joined.empty() ? std::string() : std::string(1, option.get_delimiter())) + value;
    return {joined};
}

// The options as the user gave them, so that no option can be forgotten here.
std::vector<std::string> argumentsOf(const std::vector<const CLI::Option*>& options) {
    std::vector<std::string> positional;
    std::vector<std::string> named;
    for (const CLI::Option* option : options) {
        if (option->count() == 0)
            continue;
        if (option->get_positional()) {
            positional.insert(positional.end(), option->results().begin(), option->results().end());
            continue;
        }
        const std::string name = "--" + option->get_lnames().front();
        if (option->get_items_expected_max() == 0)
            named.push_back(name);
        else
            for (const std::string& value : valuesOf(*option))
                named.push_back(name + '=' + value);
    }
    positional.insert(positional.end(), named.begin(), named.end());
    return positional;
}

// The frames that a part corrects in this time: measured here, on the first frames, with as many jobs as a
// part has.
zt::u64 framesInTime(const ClusterOptions& options, const FrameRange& range, Console& console) {
    const TrialFolder folder = TrialFolder::inTemporary();
    RunOptions trial = options.run;
    trial.output = folder / "trial.h5";
    trial.discardLogs = true;
    trial.jobs = options.cores.value_or(availableProcessors());
    const zt::u64 count = std::min<zt::u64>(range.count(), zt::u64{8} * *trial.jobs);
    trial.frames = std::to_string(range.begin) + ':' + std::to_string(range.begin + count);
    const double rate = measureRun(trial, 1, console).framesPerSecond();
    char text[64];
    std::snprintf(text, sizeof text, "%.1f frames/s on this machine", rate);
    console.message(text);
    return static_cast<zt::u64>(std::max(1.0, std::floor(*options.partTime * rate)));
}

void checkPartOptions(const ClusterOptions& options) {
    if (options.partFrames.has_value() == options.partTime.has_value())
        throw UsageError("give either --part-frames or --part-time");
    checkHdf5OutputName(options.run.output);
}

// Opens the inputs and loads the filters, so that their faults are found before a thousand jobs fail.
ClusterPlan makePlan(const ClusterOptions& options, Console& console) {
    checkPartOptions(options);
    checkFrameRange(options.run.frames);
    pathsOf(options.run).check(console);
    RunOptions trial = options.run;
    trial.dryRun = true;
    trial.jobs = 1;
    ClusterPlan plan;
    {
        const RunSetup run(trial, console);
        plan.frames = run.range;
        if (run.workers.remember)
            console.message(
                "the filters carry state from frame to frame: each part replays all frames before it, "
                "so parts save no time");
    }
    plan.output = options.run.output;
    plan.folder = fs::current_path().string();
    plan.program = (programFolder() / "ombrel").string();
    plan.runArguments = argumentsOf(options.shared);
    plan.partFrames = options.partFrames ? *options.partFrames : framesInTime(options, plan.frames, console);
    plan.cores = options.cores.value_or(0);
    plan.jobOptions = options.jobOptions;
    return plan;
}

void showPlan(const ClusterOptions& options, Console& console) {
    const ClusterPlan plan = makePlan(options, console);
    if (options.json)
        return console.result(QJsonDocument(plan.commands()).toJson(QJsonDocument::Indented).toStdString());
    const zt::u64 last = plan.framesOf(plan.partCount() - 1).count();
    console.result(countText(plan.frames.count(), "frame") + " in " + countText(plan.partCount(), "part") +
                   " of " + std::to_string(plan.partFrames) +
                   (last == plan.partFrames ? "" : ", the last of " + std::to_string(last)) + ": " +
                   plan.partFolder() + '\n');
}

void submit(const ClusterOptions& options, Console& console) {
    ClusterPlan::refuseSubmitted(options.run.output);
    ClusterPlan plan = makePlan(options, console);
    if (options.dryRun)
        return console.result(cluster::dryRunText(plan));
    for (const std::string& line : cluster::submitRun(plan))
        console.message(line);
}

int showStatus(const std::string& output, bool json, Console& console) {
    const ClusterPlan plan = ClusterPlan::load(output);
    const cluster::ClusterStatus status = cluster::examineRun(plan);
    console.result(json ? QJsonDocument(status.toJson(plan)).toJson(QJsonDocument::Indented).toStdString()
                        : status.text(plan));
    return status.stoppedParts().empty() ? EXIT_ALL_DONE : EXIT_FAILED;
}

CLI::App* addPartCommand(CLI::App& parent, const std::string& name, const std::string& about,
                         ClusterOptions& options) {
    CLI::App* command = parent.add_subcommand(name, about);
    addInputOption(*command, options.run)->required();
    addFilterOption(*command, options.run)->required();
    addCorrectionOptions(*command, options.run);
    addDeviceOptions(*command, options.run);
    addSigmaOptions(*command, options.run.sigma);
    addPluginOption(*command, options.run.plugin);
    for (const CLI::Option* option : std::as_const(*command).get_options())
        if (option != command->get_help_ptr() && !option->check_lname("frames"))
            options.shared.push_back(option);
    command->add_option("-o,--output", options.run.output, "The merged output; its parts are in OUTPUT.parts")
        ->required()
        ->type_name("WHOLE.h5");
    CLI::Option* const frames =
        command->add_option("--part-frames", options.partFrames, "Frames of each part")
            ->check(numberCheck<zt::u64>("a whole number above 0", [](zt::u64 count) { return count > 0; }))
            ->type_name("N");
    command
        ->add_option("--part-time", options.partTime,
                     "Size parts to take this long, measured on the first frames, on this machine")
        ->check(numberAboveZero())
        ->excludes(frames)
        ->type_name("SECONDS");
    command->add_option("--cores", options.cores, "Processors of each part, instead of a whole node")
        ->check(wholeNumber(1, 65535))
        ->type_name("N");
    return command;
}

void addPlan(CLI::App& parent, Console& console) {
    auto options = std::make_shared<ClusterOptions>();
    CLI::App* command =
        addPartCommand(parent, "plan", "Show how a run would be divided, and change nothing", *options);
    command->add_flag("--json", options->json, "Parts and commands as JSON, for any scheduler");
    command->callback([=, &console] { showPlan(*options, console); });
}

void addSubmit(CLI::App& parent, Console& console) {
    auto options = std::make_shared<ClusterOptions>();
    CLI::App* command =
        addPartCommand(parent, "submit", "Submit the parts and their merge as jobs of Slurm", *options);
    command->add_option("--sbatch", options->jobOptions, "An option of sbatch for all jobs; repeatable")
        ->allow_extra_args(false)
        ->type_name("OPTION");
    command->add_flag("--dry-run", options->dryRun, "Print scripts and commands, and change nothing");
    command->footer("Example:\n"
                    "  ombrel cluster submit -f Flat-Field=ff.xml scan.h5 -o corrected.h5 --part-frames 1000 "
                    "--sbatch=--partition=short");
    command->callback([=, &console] { submit(*options, console); });
}

// A command on a run that was submitted.
template <typename Work>
CLI::App* addLaterCommand(CLI::App& parent, const std::string& name, const std::string& about, Work work) {
    auto output = std::make_shared<std::string>();
    CLI::App* command = parent.add_subcommand(name, about);
    command->add_option("OUTPUT", *output, "The merged output, as given to submit")
        ->required()
        ->type_name("WHOLE.h5");
    command->callback([=] { work(*output); });
    return command;
}

} // namespace

void addClusterCommand(const CommandContext& context) {
    CLI::App* cluster =
        context.program.add_subcommand("cluster", "Divide a run among the machines of a cluster");
    cluster->require_subcommand(1);
    Console& console = context.console;
    addPlan(*cluster, console);
    addSubmit(*cluster, console);
    auto json = std::make_shared<bool>(false);
    addLaterCommand(*cluster, "status", "Show what is done, in the queue and stopped",
                    [=, &console, &exitCode = context.exitCode](const std::string& output) {
                        exitCode = showStatus(output, *json, console);
                    })
        ->add_flag("--json", *json, "As JSON");
    addLaterCommand(
        *cluster, "resume", "Submit again what stopped",
        [&console](const std::string& output) {
            ClusterPlan plan = ClusterPlan::load(output);
            for (const std::string& line : cluster::resumeRun(plan))
                console.message(line);
        });
    addLaterCommand(*cluster, "merge", "Merge the parts, once all are complete",
                    [&console](const std::string& output) {
                        console.message(cluster::mergeRun(ClusterPlan::load(output)));
                    });
}

} // namespace ombrel::cli
