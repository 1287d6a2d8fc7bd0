#pragma once

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

using testing::Contains;
using testing::Pointwise;

// A tomography of 2 x 2 pixels, which is calibrated and corrected.
class SmallScan : public ::testing::Test {
protected:
    // A tomography: 2 darks of mean 3, 5, 2, 7; 2 flats of mean 103, 205, 52, 157; 3 projections.
    SmallScan() {
        Hdf5Builder file(scan);
        file.data<zt::u16>("exchange/data_dark", {2, 2, 2}, {2, 5, 2, 6, 4, 5, 2, 8});
        file.data<zt::u16>("exchange/data_white", {2, 2, 2}, {102, 204, 52, 156, 104, 206, 52, 158});
        file.data<zt::u16>("exchange/data", {3, 2, 2}, {53, 105, 27, 82, 3, 5, 2, 7, 2, 4, 1, 6});
    }

    ProgramResult calibrate(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"calibrate", "flat-field"});
        arguments.insert(arguments.end(), {"-o", settings, "--no-interpolate", "--keep-all", "--force"});
        return runOmbrel(arguments);
    }
    ProgramResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"run", "-q", "-f", "Flat-Field=" + settings, scan, "-o", output,
                                             "--output-type", "f64", "--force"});
        return runOmbrel(arguments);
    }

    const TemporaryFolder folder;
    const std::string scan = folder / "scan.h5";
    const std::string settings = folder / "ff.xml";
    const std::string output = folder / "out.h5";
    // Of the flats without their dark, 100, 200, 50, 150, the lower middle one is 100.
    const std::vector<double> corrected{50, 50, 50, 50, 0, 0, 0, 0, -1, -0.5, -2, -100.0 / 150};
};
