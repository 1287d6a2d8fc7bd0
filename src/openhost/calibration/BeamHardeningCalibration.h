#pragma once

#include "base/Console.h"
#include "calibration/CalibrateOptions.h"
#include "host/Session.h"
#include "stack/FrameStack.h"
#include "zt/IPrivateFilters.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The frames measured through one thickness.
struct ThicknessMask {
    double thickness = 0;
    std::vector<std::string> files;
};

// The words of messages about such an option.
struct MaskWords {
    std::string option = "--mask";
    std::string value = "THICKNESS";
};

// Parses "THICKNESS=FILE[,FILE...]" texts and sorts them by ascending thickness. Throws UsageError for a
// malformed text or a repeated thickness.
std::vector<ThicknessMask> parseThicknessMasks(const std::vector<std::string>& texts,
                                               const MaskWords& words = {});

// A sum of frames, in double; its time is the sum of their times.
struct MaskSum {
    FramePtr frame;
    double seconds = 0;

    // The mean over the pixels that are not NaN.
    double countsPerSecond() const;
};

// Sums those frames of the stack. `acqTime` is that of each frame; without it, each frame must have its own.
// Throws Error.
MaskSum sumFrames(FrameStack& stack, std::span<const std::size_t> frames, std::optional<double> acqTime);

// Adds a mask to the filter; its order is that of the calls. Throws Error.
void addMask(Session& session, IBHFilter& filter, double thickness, MaskSum sum);

// The command line of `ombrel calibrate beam-hardening`.
struct BeamHardeningOptions : CalibrateOptions {
    std::vector<std::string> masks; // "THICKNESS=FILE[,FILE...]"
    std::optional<double> acqTime;  // seconds, of one frame
    bool noInterpolation = false;
    bool zeroAsBad = false;
};

// The work of the command. Throws UsageError or Error, and then has written at most the inspection's report.
void calibrateBeamHardening(const BeamHardeningOptions& options, Console& console);

} // namespace ombrel
