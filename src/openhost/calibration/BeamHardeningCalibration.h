#pragma once

#include "base/Console.h"
#include "calibration/CalibrateOptions.h"
#include "stack/FrameStack.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// What is measured through one thickness.
struct ThicknessMask {
    double thickness = 0;
    std::vector<std::string> files;
};

// From "THICKNESS=FILE[,FILE...]" each, in the order of ascending thickness. Throws UsageError: a text that
// is none, or a thickness twice.
std::vector<ThicknessMask> parseThicknessMasks(const std::vector<std::string>& texts);

// The sum of frames, in double, which took as long as all of them together.
struct MaskSum {
    FramePtr frame;
    double seconds = 0;

    // The mean over the pixels that are numbers.
    double countsPerSecond() const;
};

// `acqTime` is that of each frame; without it each frame has to tell its own. Throws Error.
MaskSum sumFrames(FrameStack& stack, std::optional<double> acqTime);

// The command line of `ombrel calibrate beam-hardening`.
struct BeamHardeningOptions : CalibrateOptions {
    std::vector<std::string> masks; // "THICKNESS=FILE[,FILE...]"
    std::optional<double> acqTime;  // seconds, of one frame
    bool noInterpolation = false;
    bool zeroAsBad = false;
};

// The work of the command. Throws UsageError or Error, with nothing written.
void calibrateBeamHardening(const BeamHardeningOptions& options, Console& console);

} // namespace ombrel
