#include "base/CommandOptions.h"
#include "base/CommandPaths.h"
#include "base/Progress.h"
#include "cli/CommandLine.h"
#include "host/Device.h"
#include "simulation/SimulatedSet.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace ombrel::cli {

namespace {

struct SimulateOptions {
    simulation::SetPlan plan;
    std::string size = "256x256";
    std::string deadTimeKind = "paralysable";
    bool force = false;
    bool quiet = false;
};

void checkFiles(const SimulateOptions& options, Console& console) {
    if (!std::filesystem::exists(options.plan.directory))
        return;
    CommandPaths paths;
    for (const std::string& file : simulation::filesOf(options.plan))
        paths.writes(file, std::filesystem::path(file).filename().string() + " of the set",
                     options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console);
}

void simulate(SimulateOptions options, Console& console) {
    const FrameSize size = parseFrameSize("--size", options.size);
    options.plan.width = size.width;
    options.plan.height = size.height;
    options.plan.isParalysable = options.deadTimeKind == "paralysable";
    checkFiles(options, console);
    Progress progress(console, simulation::imagesOf(options.plan), options.quiet);
    simulation::writeSet(options.plan, [&] { progress.advance(); });
    for (const std::string& file : simulation::filesOf(options.plan))
        console.result(file + "\n");
}

} // namespace

void addSimulateCommand(const CommandContext& context) {
    auto options = std::make_shared<SimulateOptions>();
    CLI::App* command =
        context.program.add_subcommand("simulate", "Write a data set of a simulated detector");
    command->add_option("DIR", options->plan.directory, "Folder for the files; created if missing")
        ->required()
        ->type_name("PATH");
    command->add_option("--size", options->size, "Width and height of the detector, in pixels")
        ->type_name("WxH")
        ->capture_default_str();
    command->add_option("--frames", options->plan.frames, "Frames with the sample")
        ->check(wholeNumber(1, 1'000'000))
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--flux", options->plan.flux, "Photons a pixel and frame in the open beam")
        ->check(numberCheck<double>(
            "a number from 1 to 10000", [](double flux) { return flux >= 1 && flux <= 10'000; }))
        ->type_name("PHOTONS")
        ->capture_default_str();
    command
        ->add_option("--grid-steps", options->plan.gridSteps,
                     "Values of each of V, T and E in the grid for the adaptive filter; 0: no grid")
        ->check(numberCheck<int>("0, or a whole number from 2 to 9",
                                 [](int steps) { return steps == 0 || (steps >= 2 && steps <= 9); }))
        ->type_name("N")
        ->capture_default_str();
    command
        ->add_option("--wedge-steps", options->plan.wedgeSteps,
                     "Thicknesses of the wedge for the beam-hardening filter, 0.3 mm apart; 0: no wedge")
        ->check(wholeNumber(0, 20))
        ->type_name("N")
        ->capture_default_str();
    command
        ->add_option("--angles", options->plan.angles,
                     "Projections of a tomography with flat and dark fields; 0: no tomography")
        ->check(wholeNumber(0, 10'000))
        ->type_name("N")
        ->capture_default_str();
    command
        ->add_option("--dead-time", options->plan.deadTime,
                     "Dead time of a pixel after a count, for frames of high count rates; 0: no such frames")
        ->check(numberCheck<double>("a number from 0 to 300",
                                    [](double time) { return time >= 0 && time <= 300; }))
        ->type_name("NS")
        ->capture_default_str();
    command
        ->add_option("--dead-time-kind", options->deadTimeKind,
                     "Whether a photon that is not counted prolongs the dead time")
        ->check(CLI::IsMember({"paralysable", "non-paralysable"}).description(""))
        ->type_name("paralysable|non-paralysable")
        ->capture_default_str();
    const auto addFault = [&](const char* name, zt::u32& count, const char* help) {
        command->add_option(name, count, help)
            ->check(wholeNumber(0, 100'000))
            ->type_name("N")
            ->capture_default_str();
    };
    simulation::FaultPlan& faults = options->plan.faults;
    addFault("--noisy", faults.noisy, "Pixels with twice the noise of their counts");
    addFault("--flickering", faults.flickering, "Pixels with 10 % more in about half of the frames");
    addFault("--bursting", faults.bursting, "Pixels with 30 % more in one frame");
    addFault("--gap-columns", faults.gapColumns, "Columns without pixels, in the middle");
    command->add_option("--seed", options->plan.seed, "Another seed gives another detector and other noise")
        ->check(wholeNumber<std::uint64_t>())
        ->type_name("N")
        ->capture_default_str();
    command->add_flag("--force", options->force, "Replace files that exist");
    command->add_flag("-q,--quiet", options->quiet, "No progress");
    command->footer("Example:\n  ombrel simulate data --frames 500 --size 512x512");
    command->callback([=, &console = context.console] { simulate(*options, console); });
}

} // namespace ombrel::cli
