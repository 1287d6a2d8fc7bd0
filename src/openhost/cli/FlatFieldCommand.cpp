#include "base/NumberCheck.h"
#include "calibration/FlatFieldCalibration.h"
#include "cli/CalibrateCommand.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

void addFlatFieldCalibration(CLI::App& calibrate, const CommandContext& context) {
    auto options = std::make_shared<FlatFieldOptions>();
    CLI::App* command =
        calibrate.add_subcommand("flat-field", "Settings of Flat-Field from frames of the open beam");
    command
        ->add_option(
            "FLAT", options->inputs,
            "Frame files, or one ASCII matrix or \".ffc\" file. Of a file that tells its frames apart the "
            "flat fields are taken")
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
                      "Pixels masked by the device are not bad for that");
    command->add_flag("--tdi", options->tdi, "One coefficient a column, for time-delayed integration");
    command->add_option("--ffc", options->ffcFile, "Write the coefficients as doubles too")
        ->type_name("FILE.ffc");
    command->add_option("--ascii", options->asciiFile, "Write the coefficients as text too")
        ->type_name("FILE");
    command->footer("Example:\n"
                    "  ombrel calibrate flat-field flats.tif -o ff.xml\n"
                    "  ombrel run -f Flat-Field=ff.xml frames.tif -o corrected.h5");
    command->callback([=, &console = context.console] { calibrateFlatField(*options, console); });
}

} // namespace ombrel::cli
