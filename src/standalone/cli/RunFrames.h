#pragma once

#include "standalone/cli/Console.h"
#include "standalone/cli/RunOptions.h"

namespace ombrel::cli {

// The work of `ombrel run`. Returns the exit code; throws UsageError or Error when nothing could be started.
int runFrames(const RunOptions& options, Console& console);

} // namespace ombrel::cli
