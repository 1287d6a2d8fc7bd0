#include "cli/CalibrateCommand.h"

#include "base/CommandOptions.h"
#include "base/Error.h"
#include "calibration/AdaptiveCalibration.h"
#include "calibration/BadPixelCalibration.h"
#include "calibration/BeamHardeningCalibration.h"
#include "calibration/CountRateCalibration.h"
#include "calibration/FlatFieldCalibration.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>

namespace ombrel::cli {

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options) {
    command.add_option("-o,--output", options.output, "The settings file to write")
        ->required()
        ->type_name("FILE.xml");
    addDarkOption(
        command, options.dark,
        "Dark frames, whose mean is subtracted from every frame: those that the inputs mark, none, or a "
        "file of them");
    command.add_flag("--force", options.force, "Replace files that exist");
    addInspectionOptions(command, options.inspection);
    addLogOption(command, options.log);
    addPluginOption(command, options.plugin);
}

void addCalibrateCommand(const CommandContext& context) {
    CLI::App* command =
        context.program.add_subcommand("calibrate", "Make the settings of a filter from measured frames");
    command->require_subcommand(1);
    command->footer("See \"ombrel calibrate KIND --help\" for the options of a calibration.");
    addAdaptiveCalibration(*command, context);
    addFlatFieldCalibration(*command, context);
    addBeamHardeningCalibration(*command, context);
    addCountRateCalibration(*command, context);
    addBadPixelCalibration(*command, context);
}

namespace {

bool isSettingsName(const std::string& path) {
    const std::filesystem::path name(path);
    return name.extension() == ".xml" && !name.stem().empty();
}

void calibrate(const AdaptiveOptions& options, Console& console) {
    if (options.output.empty() == options.check.empty())
        throw UsageError("give either -o NAME.xml to calibrate or --check NAME.xml to try a calibration");
    const std::string& name = options.check.empty() ? options.output : options.check;
    if (!isSettingsName(name))
        throw UsageError(
            name + ": the name must end in \".xml\"; the flat fields are stored next to it in NAME.bin");
    if (options.check.empty())
        calibrateAdaptive(options, console);
    else
        checkAdaptive(options, console);
}

void addRefineOptions(CLI::App& command, RefineOptions& options) {
    command
        .add_option(
            "--refine", options.cells,
            "Write a finer grid, from smooth surfaces through the flat fields: as fine as is useful, or "
            "with that many cells on the axes of V, T and E")
        ->type_name("auto|N|NxMxK");
    auto* const refine = command.get_option("--refine");
    command
        .add_option("--time-per-frame", options.timePerFrame,
                    "Most time that a frame may take with a refined grid")
        ->check(numberAboveZero())
        ->needs(refine)
        ->type_name("MS");
    command
        .add_option(
            "--frame-counts", options.frameCounts,
            "Counts a pixel of the frames to correct, for --refine auto; default: a hundredth of those of a "
            "flat field")
        ->check(numberAboveZero())
        ->needs(refine)
        ->type_name("COUNTS");
}

void addOptions(CLI::App& command, AdaptiveOptions& options) {
    command
        .add_option("--grid", options.grid,
                    "Table of the flat fields: v,t,e,file and optionally page, for every grid point")
        ->required()
        ->type_name("GRID.csv");
    addCalibrateOptions(command, options);
    command.get_option("--output")->required(false);
    command.add_option("--check", options.check, "Write nothing; try existing settings on the grid's frames")
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
    addRefineOptions(command, options.refine);
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

void addFlatFieldCalibration(CLI::App& calibrate, const CommandContext& context) {
    auto options = std::make_shared<FlatFieldOptions>();
    CLI::App* command =
        calibrate.add_subcommand("flat-field", "Settings of Flat-Field from frames of the open beam");
    command
        ->add_option(
            "FLAT", options->inputs,
            "Frame files, or one ASCII matrix or \".ffc\" file. If a file marks its frames, only the "
            "flat fields are used")
        ->required()
        ->type_name("FILE");
    addCalibrateOptions(*command, *options);
    command->add_option("--size", options->size, "Size of the frames, for a matrix or \".ffc\" file")
        ->type_name("WxH");
    command->add_flag("--acquisition", options->acquisition,
                      "Sum the frames as measured ones instead of averaging");
    command->add_option("--sub-frame", options->subFrame, "Take the N-th sub-frame of each, counted from 0")
        ->check(wholeNumber<zt::u32>())
        ->type_name("N");
    command
        ->add_option("--bad", options->bad,
                     "Bad pixels: those of value 0, those of extreme coefficient, or none")
        ->check(CLI::IsMember({"zero", "ff", "none"}).description(""))
        ->type_name("zero|ff|none")
        ->capture_default_str();
    command->add_flag("--no-interpolate", options->noInterpolation, "Leave bad pixels as they are");
    command->add_flag("--no-device-mask", options->noDeviceMask,
                      "Do not treat pixels masked by the device as bad");
    addMaskOptions(*command, options->mask);
    command->add_flag("--tdi", options->tdi, "One coefficient a column, for time-delayed integration");
    command->add_option("--ffc", options->ffcFile, "Also write the coefficients as doubles")
        ->type_name("FILE.ffc");
    command->add_option("--ascii", options->asciiFile, "Also write the coefficients as text")
        ->type_name("FILE");
    command->footer("Example:\n"
                    "  ombrel calibrate flat-field flats.tif -o ff.xml\n"
                    "  ombrel run -f Flat-Field=ff.xml frames.tif -o corrected.h5");
    command->callback([=, &console = context.console] { calibrateFlatField(*options, console); });
}

namespace {

void addMaskCalibrateOptions(CLI::App& command, MaskCalibrateOptions& options) {
    addCalibrateOptions(command, options);
    command
        .add_option("--acq-time", options.acqTime, "Acquisition time of every frame, for files without it")
        ->check(numberAboveZero())
        ->type_name("SECONDS");
    command.add_flag("--no-interpolate", options.noInterpolation, "Leave bad pixels as they are");
}

} // namespace

void addBeamHardeningCalibration(CLI::App& calibrate, const CommandContext& context) {
    auto options = std::make_shared<BeamHardeningOptions>();
    CLI::App* command = calibrate.add_subcommand(
        "beam-hardening", "Settings of Beam-hardening from frames through known thicknesses");
    command
        ->add_option(
            "--mask", options->masks,
            "Frames through a thickness, which are summed; repeat it for each thickness, 0 for the open beam "
            "included. Results have the unit of these thicknesses")
        ->required()
        ->allow_extra_args(false)
        ->type_name("THICKNESS=FILE[,FILE...]");
    addMaskCalibrateOptions(*command, *options);
    command->add_flag("--zero-as-bad", options->zeroAsBad, "Treat pixels with a result of 0 as bad, too");
    command->footer(
        "Example:\n"
        "  ombrel calibrate beam-hardening --mask 0=open.tif --mask 0.5=half.tif --mask 1=one.tif "
        "--acq-time 2 -o bh.xml\n"
        "  ombrel run -f Beam-hardening=bh.xml frames.tif --acq-time 2 -o thickness.h5");
    command->callback([=, &console = context.console] { calibrateBeamHardening(*options, console); });
}

void addCountRateCalibration(CLI::App& calibrate, const CommandContext& context) {
    auto options = std::make_shared<CountRateOptions>();
    CLI::App* command = calibrate.add_subcommand(
        "count-rate", "Settings of Beam-hardening that return the flux of frames with lost counts");
    command
        ->add_option(
            "--flux", options->masks,
            "Frames of the whole detector at a known relative flux, which are summed; repeat it for each "
            "flux. Results have the unit of these fluxes")
        ->required()
        ->allow_extra_args(false)
        ->type_name("FLUX=FILE[,FILE...]");
    addMaskCalibrateOptions(*command, *options);
    command->footer("Example:\n"
                    "  ombrel calibrate count-rate --flux 1=low.h5 --flux 1.5=middle.h5 --flux 2=high.h5 -o "
                    "rate.xml\n"
                    "  ombrel run -f Beam-hardening=rate.xml frames.h5 -o flux.h5");
    command->callback([=, &console = context.console] { calibrateCountRate(*options, console); });
}

void addDarkOption(CLI::App& command, std::string& dark, const std::string& description) {
    command.add_option("--dark", dark, description)->type_name("auto|none|FILE")->capture_default_str();
}

void addMaskOptions(CLI::App& command, MaskOptions& options) {
    command
        .add_option("--device-mask", options.source,
                    "Pixel mask of the device: the one that a detector stored next to the frames, none, or a "
                    "file")
        ->type_name("auto|none|FILE")
        ->capture_default_str();
    command
        .add_option("--mask-convention", options.convention,
                    "Meaning of 0 in the mask: good (nexus) or masked (ones-good). Default: good in the "
                    "pixel_mask of a detector, masked in a plain image")
        ->check(CLI::IsMember({"nexus", "ones-good"}).description(""))
        ->type_name("nexus|ones-good");
}

void addBadPixelCalibration(CLI::App& calibrate, const CommandContext& context) {
    auto options = std::make_shared<BadPixelOptions>();
    CLI::App* command = calibrate.add_subcommand(
        "bad-pixels", "A mask of bad pixels with reasons from repeated frames of the open beam");
    command
        ->add_option("FLAT", options->flats,
                     "Frame files of the open beam, best 20 frames or more. If a file marks its frames, only "
                     "the flat fields are used")
        ->required()
        ->type_name("FILE");
    command->add_option("--dark", options->darks, "Frames without beam, which show hot pixels")
        ->type_name("FILE");
    command
        ->add_option(
            "-o,--output", options->outputs,
            "The mask: .h5, .hdf5 or .nxs with all reasons, .tif with 0 for bad pixels, or .txt with "
            "a list; repeatable")
        ->required()
        ->allow_extra_args(false)
        ->type_name("FILE");
    command->add_option("--picture", options->picture, "Also write a picture with the bad pixels in colour")
        ->type_name("FILE.png");
    command
        ->add_option("--false-discoveries", options->limits.falseDiscoveryRate,
                     "Expected part of good pixels among those found to be noisy")
        ->check(numberCheck<double>("a number above 0 and below 1",
                                    [](double rate) { return rate > 0 && rate < 1; }))
        ->type_name("RATE")
        ->capture_default_str();
    command
        ->add_option("--deviation", options->limits.deviation,
                     "Robust standard deviations from the neighbourhood from which a response is bad")
        ->check(numberAboveZero())
        ->type_name("N")
        ->capture_default_str();
    addMaskOptions(*command, options->mask);
    command->add_flag("--force", options->force, "Replace files that exist");
    addLogOption(*command, options->log);
    command->add_flag("-q,--quiet", options->quiet, "No progress");
    command->footer("Example:\n"
                    "  ombrel calibrate bad-pixels flats.h5 --dark darks.h5 -o mask.h5\n"
                    "  ombrel run -f Flat-Field=ff.xml --device-mask mask.h5 frames.h5 -o corrected.h5");
    command->callback([=, &console = context.console] { calibrateBadPixels(*options, console); });
}

} // namespace ombrel::cli
