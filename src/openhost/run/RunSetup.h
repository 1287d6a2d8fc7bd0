#pragma once

#include "base/FileLock.h"
#include "frame/FrameRange.h"
#include "frame/RunRecord.h"
#include "host/Session.h"
#include "run/BatchRun.h"
#include "run/RunOptions.h"
#include "run/WorkerChains.h"
#include "stack/FrameStack.h"

#include <optional>

namespace ombrel {

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
