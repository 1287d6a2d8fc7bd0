#pragma once

#include "base/Console.h"
#include "base/FileDescriptor.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRange.h"
#include "frame/RunRecord.h"
#include "host/Chain.h"
#include "host/Session.h"
#include "inspection/FrameMarks.h"
#include "inspection/MeanDark.h"
#include "run/BatchRun.h"
#include "run/FrameLevels.h"
#include "run/RunDark.h"
#include "run/WorkerChains.h"
#include "stack/FrameStack.h"
#include "stack/PixelMask.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// One filter of a chain and where its settings are.
struct LinkOptions {
    std::string name;
    std::string settings; // the path that is recorded and that the filter gets; empty without settings
    std::string contents; // the file that is read; the same, except where a recorded run is repeated

    // Reads "NAME" or "NAME=SETTINGS.xml".
    static LinkOptions parse(const std::string& text);
};

// Standard deviations of the corrected pixels.
struct SigmaOptions {
    bool isWanted = false;
    bool calibrationPart = false; // also alone
    std::optional<double> gain;   // counts a photon; unset: as calibrated, else 1
};

// The command line of `ombrel run`.
struct RunOptions {
    std::vector<std::string> inputs;
    std::vector<LinkOptions> links;
    // Filters write no log and dump no image, even if settings or parameters enable it.
    bool discardLogs = false;
    std::vector<std::string> params; // "FILTER:PARAM=VALUE"
    std::string output;
    std::string outputType = "f32";
    std::optional<std::array<double, 2>> scale; // the range of values that a 16-bit output stores
    std::string frames = ":";
    std::optional<double> acqTime; // seconds
    QuantityOptions quantity;
    std::string dark = ownDark; // see measureDark(); "auto" is the one of the calibrations
    bool replace = false;
    bool force = false;
    int deviceType = 1;
    MaskOptions mask;
    MarkOptions marks;
    std::optional<unsigned> jobs; // without it, one per processor
    bool resume = false;
    bool dryRun = false;
    bool noChoice = false;
    SigmaOptions sigma;
    std::string report;
    std::string preview;
    std::string plugin;
    std::string log;
    bool quiet = false;
};

class SigmaModel;
struct RunSetup;

// How the output stores pixels in 16 bits; nothing if it does not. Throws UsageError if type and scale do not
// go together.
std::optional<PixelPacking> packingOf(const RunOptions& options);

// Describes the run, for its output. The filters of the setup must be loaded. Throws Error.
RunRecord makeRecord(RunSetup& setup);

// The settings files of all links that have one, in the order of the chain.
std::vector<std::string> settingsFilesOf(const RunOptions& options);

// The output to resume; nothing if none of its frames is done. Throws Error if it was not written by this
// program, is being written, or was written by a different run than `record`: the text lists the differences.
std::optional<OutputState> outputToResume(const std::string& path, const RunRecord& record);

// Everything a run needs, opened and checked before its first frame; used by all callers that pass a stack
// through a chain. Messages go to the console.
struct RunSetup {
    // Writes nothing. `runOptions` must outlive the setup. Throws UsageError or Error.
    RunSetup(const RunOptions& runOptions, Console& console);

    ~RunSetup();

    // Runs the remaining frames. Throws Error.
    BatchResult run(const BatchListener& listener);

    const RunOptions& options;
    std::optional<OutputLock> lock; // taken before the output is examined; empty for a dry run
    FrameStack stack;
    FrameRange range;
    std::optional<PixelMask> mask; // of the device
    Session session;
    WorkerChains workers;
    std::optional<DarkField> dark;     // subtracted from each frame before the chain
    std::optional<FrameLevels> levels; // by which corrected frames are divided; nothing for counts
    std::unique_ptr<SigmaModel> sigma; // null unless wanted
    RunRecord record;
    std::optional<OutputState> begun; // the output to resume
};

} // namespace ombrel
