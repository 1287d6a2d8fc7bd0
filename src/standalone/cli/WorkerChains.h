#pragma once

#include "standalone/Chain.h"
#include "standalone/cli/ChoiceLogs.h"
#include "standalone/cli/Console.h"
#include "standalone/cli/RunOptions.h"
#include "standalone/cli/Session.h"

#include <memory>
#include <vector>

namespace ombrel::cli {

// The chains of a run's workers: each has filter instances of its own, loaded by themselves.
struct WorkerChains {
    std::vector<Chain> chains;           // at least one
    bool remember = false;               // a filter's result hangs on the frames before
    std::unique_ptr<ChoiceLogs> choices; // null where no adaptive filter chooses, or nobody wants to know
};

// As many chains as jobs are asked for, or fewer, said aloud: where a filter remembers from frame to frame,
// where memory does not allow more, and where there are fewer frames. Throws Error.
WorkerChains makeWorkerChains(Session& session, const RunOptions& options, zt::u64 frames, Console& console);

} // namespace ombrel::cli
