#include "base/NumberCheck.h"
#include "calibration/BeamHardeningCalibration.h"
#include "cli/CalibrateCommand.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

void addBeamHardeningCalibration(CLI::App& calibrate, const CommandContext& context) {
    auto options = std::make_shared<BeamHardeningOptions>();
    CLI::App* command = calibrate.add_subcommand(
        "beam-hardening", "Settings of Beam-hardening from frames through known thicknesses");
    command
        ->add_option(
            "--mask", options->masks,
            "Frames through a thickness, which are summed; repeat it for each thickness, 0 for the open beam "
            "included. Results come out in the unit of these")
        ->required()
        ->allow_extra_args(false)
        ->type_name("THICKNESS=FILE[,FILE...]");
    addCalibrateOptions(*command, *options);
    command
        ->add_option("--acq-time", options->acqTime,
                     "Acquisition time of every frame, for files that do not tell it")
        ->check(numberAboveZero())
        ->type_name("SECONDS");
    command->add_flag("--no-interpolate", options->noInterpolation, "Leave bad pixels as they are");
    command->add_flag("--zero-as-bad", options->zeroAsBad, "Pixels that come out as 0 are bad too");
    command->footer(
        "Example:\n"
        "  ombrel calibrate beam-hardening --mask 0=open.tif --mask 0.5=half.tif --mask 1=one.tif "
        "--acq-time 2 -o bh.xml\n"
        "  ombrel run -f Beam-hardening=bh.xml frames.tif --acq-time 2 -o thickness.h5");
    command->callback([=, &console = context.console] { calibrateBeamHardening(*options, console); });
}

} // namespace ombrel::cli
