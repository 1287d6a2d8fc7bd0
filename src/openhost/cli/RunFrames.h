#pragma once

#include "base/Console.h"
#include "run/RunOptions.h"

namespace ombrel::cli {

// The work of `ombrel run`. Returns the exit code; throws UsageError or Error when nothing could be started.
int runFrames(const RunOptions& options, Console& console);
// The same without a check of the paths, and without the log: for those who have done both.
int correctFrames(const RunOptions& options, Console& console);

// Throws UsageError when the suffix of an output selects no format.
void checkOutputName(const std::string& output);

} // namespace ombrel::cli
