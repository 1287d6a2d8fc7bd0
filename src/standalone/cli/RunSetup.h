#pragma once

#include "standalone/BatchRun.h"
#include "standalone/FileLock.h"
#include "standalone/FrameStack.h"
#include "standalone/RunRecord.h"
#include "standalone/cli/FrameRange.h"
#include "standalone/cli/RunOptions.h"
#include "standalone/cli/Session.h"
#include "standalone/cli/WorkerChains.h"

#include <optional>

namespace ombrel::cli {

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

} // namespace ombrel::cli
