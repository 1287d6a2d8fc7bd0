#pragma once

#include "base/Console.h"
#include "base/FileDescriptor.h"
#include "calibration/CalibrateOptions.h"
#include "host/Session.h"
#include "settings/CalibrationFacts.h"
#include "stack/FrameStack.h"
#include "uncertainty/PhotonTransfer.h"
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
    std::string file;       // the first of a measured mask; empty for one between measured ones
    std::size_t frames = 0; // of a measured mask

    // The mean over the pixels that are not NaN.
    double countsPerSecond() const;
};

// The command line of a command that fills Beam-hardening with masks of known thickness or flux.
struct MaskCalibrateOptions : CalibrateOptions {
    std::vector<std::string> masks; // "THICKNESS=FILE[,FILE...]"
    std::optional<double> acqTime;  // seconds, of one frame
    bool noInterpolation = false;
};

// A new Beam-hardening filter, the measured frames of its masks and the inspection of these frames.
class MaskCalibration {
public:
    // Checks the paths and opens the frames and the plug-in. Throws UsageError or Error.
    MaskCalibration(const MaskCalibrateOptions& calibrateOptions, const std::vector<ThicknessMask>& masks,
                    Console& console);

    IBHFilter& filter() { return beamHardening; }
    const FrameStack& frames() const { return all; }
    const FieldInspection& inspection() const { return judged; }

    // The sum of a mask's good frames; `noun` names its value in messages. Each frame needs a time, its own
    // or that of the options. Throws Error.
    MaskSum measure(const ThicknessMask& mask, const std::string& noun);
    // Ends the inspection; to be called when all masks are measured. Throws Error.
    void endInspection();
    // The order of the masks is that of the calls. Throws Error.
    void add(double thickness, MaskSum sum);
    // Writes the settings file. Throws Error.
    void save();

private:
    const MaskCalibrateOptions& options;
    std::vector<std::string> files;
    OutputLock lock;
    FrameStack all;
    Session session;
    FilterLink link;
    IBHFilter& beamHardening;
    FieldInspection judged;
    CalibrationFacts facts;
    PhotonTransfer transfer;
    std::optional<DarkField> dark; // subtracted from each frame
};

// The command line of `ombrel calibrate beam-hardening`.
struct BeamHardeningOptions : MaskCalibrateOptions {
    bool zeroAsBad = false;
};

// The work of the command. Throws UsageError or Error, and then has written at most the inspection's report.
void calibrateBeamHardening(const BeamHardeningOptions& options, Console& console);

} // namespace ombrel
