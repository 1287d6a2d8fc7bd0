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

namespace ombrel::cli {

// What a report tells of a run as a whole.
struct RunReport {
    std::string output;
    std::string record;       // the run as JSON, as the output has it
    zt::u64 begin = 0;        // index of the first row's frame in the stack
    zt::u64 maskedPixels = 0; // by the device
    std::vector<FrameRow> rows;
    std::vector<RunNotes::Kind> kinds; // frames that look as if something was wrong with them
};

// Writes the report as JSON, in one step. Throws Error.
void writeReport(const std::string& path, const RunReport& report);

// Tells what a run would do, after its first frame went through the chain for the size of the output: whether
// there is room on the disk. Writes nothing. Returns the exit code; throws Error.
int dryRun(FrameStack& stack, const FrameRange& range, WorkerChains& workers, const RunOptions& options,
           Console& console);

// The work of `ombrel run`. Returns the exit code; throws UsageError or Error when nothing could be started.
int runFrames(const RunOptions& options, Console& console);
// The same without a check of the paths, and without the log: for those who have done both.
int correctFrames(const RunOptions& options, Console& console);

// Throws UsageError when the suffix of an output selects no format.
void checkOutputName(const std::string& output);

} // namespace ombrel::cli
