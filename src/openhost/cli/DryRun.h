#pragma once

#include "base/Console.h"
#include "frame/FrameRange.h"
#include "run/RunOptions.h"
#include "run/WorkerChains.h"
#include "stack/FrameStack.h"

namespace ombrel::cli {

// Tells what a run would do, after its first frame went through the chain for the size of the output: whether
// there is room on the disk. Writes nothing. Returns the exit code; throws Error.
int dryRun(FrameStack& stack, const FrameRange& range, WorkerChains& workers, const RunOptions& options,
           Console& console);

} // namespace ombrel::cli
