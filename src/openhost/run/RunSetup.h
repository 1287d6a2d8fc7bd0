#pragma once

#include "base/Console.h"
#include "base/FileDescriptor.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRange.h"
#include "frame/RunRecord.h"
#include "host/Chain.h"
#include "host/Session.h"
#include "run/BatchRun.h"
#include "run/SelectionLogs.h"
#include "stack/FrameStack.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A filter as the command line names it.
struct FilterOption {
    std::string name;
    std::string settings; // path; empty where there is none

    explicit FilterOption(const std::string& text)
        : name(text.substr(0, text.find('='))),
          settings(name.size() < text.size() ? text.substr(name.size() + 1) : std::string()) {}
};

// The command line of `ombrel run`.
struct RunOptions {
    std::vector<std::string> inputs;
    std::vector<std::string> filters; // "NAME" or "NAME=SETTINGS.xml"
    // Where the bytes of each filter's settings stand when that is not the file that it names; else empty.
    std::vector<std::string> settingsContents;
    // Filters write no log and dump no image, whatever settings and parameters name.
    bool discardLogs = false;
    std::vector<std::string> params; // "FILTER:PARAM=VALUE"
    std::string output;
    std::string outputType = "f32";
    std::string frames = ":";
    std::optional<double> acqTime; // seconds
    bool replace = false;
    bool force = false;
    int deviceType = 1;
    std::string deviceMask;
    unsigned jobs = 1;
    bool resume = false;
    bool dryRun = false;
    bool noChoice = false;
    std::string report;
    std::string preview;
    std::string plugin;
    std::string log;
    bool quiet = false;
};

// What the run is, for its output. `chain` has its settings loaded. Throws Error.
RunRecord makeRecord(const RunOptions& options, const FrameRange& range, const std::string& pluginPath,
                     Chain& chain);

// The settings of the filter of that place; without a path where it has none.
SettingsSource settingsOf(const RunOptions& options, std::size_t filter);
// The files with the settings of each link that has some, in the order of the chain.
std::vector<std::string> settingsFilesOf(const RunOptions& options);

// The output to resume; none when no frame of it is done. Throws Error when it is no output of this
// program, is being written, or was made by another run than `record` tells of: the text names what differs.
std::optional<OutputState> outputToResume(const std::string& path, const RunRecord& record);

// The chains of a run's workers: each has filter instances of its own, loaded by themselves.
struct WorkerChains {
    std::vector<Chain> chains;              // at least one
    bool remember = false;                  // a filter's result hangs on the frames before
    std::unique_ptr<SelectionLogs> choices; // null where no adaptive filter chooses, or nobody wants to know
};

// Says that Flat-Field does not find zero pixels in frames of that type; empty where it does.
std::string unseenZeroPixels(zt::u8 pixelType);

// What a user should know of a loaded chain before frames of that type pass through it, a line each.
std::vector<std::string> warningsOn(Chain& chain, zt::u8 pixelType);

// As many chains as jobs are asked for, or fewer, said aloud: where a filter remembers from frame to frame,
// where memory does not allow more, and where there are fewer frames. Throws Error.
WorkerChains makeWorkerChains(Session& session, const RunOptions& options, zt::u64 frames, Console& console);

// All that a run needs, opened and checked before its first frame, for everyone who runs a stack through a
// chain. Messages go to the console.
struct RunSetup {
    // Nothing is written yet. `runOptions` must outlive the setup. Throws UsageError or Error.
    RunSetup(const RunOptions& runOptions, Console& console);

    // Runs the frames that are not done yet. Throws Error.
    BatchResult run(const BatchListener& listener);

    const RunOptions& options;
    std::optional<OutputLock> lock; // before anything is asked of the output; none for a dry run
    FrameStack stack;
    FrameRange range;
    Session session;
    WorkerChains workers;
    RunRecord record;
    std::optional<OutputState> begun; // the output to resume
};

} // namespace ombrel
