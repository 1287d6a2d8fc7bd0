#pragma once

#include "base/Console.h"
#include "frame/FrameRange.h"
#include "frame/FrameRow.h"
#include "run/RunNotes.h"
#include "run/RunSetup.h"
#include "stack/FrameStack.h"

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace ombrel::cli {

// The part of a report that describes the whole run.
struct RunReport {
    std::string output;
    std::string record;       // the run as JSON, as stored in the output
    zt::u64 begin = 0;        // index of the first row's frame in the stack
    zt::u64 maskedPixels = 0; // by the device
    std::vector<FrameRow> rows;
    std::vector<RunNotes::Kind> kinds; // suspicious frames
};

// Atomically writes the report as JSON. Throws Error.
void writeReport(const std::string& path, const RunReport& report);

// Reports what a run would do and whether the disk has room for the output, whose size is known after
// correcting the first frame. Writes nothing. Returns the exit code; throws Error.
int dryRun(RunSetup& run, Console& console);

// The work of `ombrel run`. Returns the exit code; throws UsageError or Error if nothing could be started.
int runFrames(const RunOptions& options, Console& console);
// Like runFrames(), but without checking the paths and opening the log, for callers that have done so.
int correctFrames(const RunOptions& options, Console& console);

// Options of a run that other commands share: its inputs, its filters, how they correct, and the device.
CLI::Option* addInputOption(CLI::App& command, RunOptions& options);
CLI::Option* addFilterOption(CLI::App& command, RunOptions& options);
void addCorrectionOptions(CLI::App& command, RunOptions& options);
void addDeviceOptions(CLI::App& command, RunOptions& options);
void addSigmaOptions(CLI::App& command, SigmaOptions& options);

// Throws UsageError when the suffix of an output selects no format.
void checkOutputName(const std::string& output);

} // namespace ombrel::cli
