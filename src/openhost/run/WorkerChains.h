#pragma once

#include "base/Console.h"
#include "host/Chain.h"
#include "host/Session.h"
#include "run/ChoiceLogs.h"
#include "run/RunOptions.h"

#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// The chains of a run's workers: each has filter instances of its own, loaded by themselves.
struct WorkerChains {
    std::vector<Chain> chains;           // at least one
    bool remember = false;               // a filter's result hangs on the frames before
    std::unique_ptr<ChoiceLogs> choices; // null where no adaptive filter chooses, or nobody wants to know
};

// Says that Flat-Field does not find zero pixels in frames of that type; empty where it does.
std::string unseenZeroPixels(zt::u8 pixelType);

// What a user should know of a loaded chain before frames of that type pass through it, a line each.
std::vector<std::string> warningsOn(Chain& chain, zt::u8 pixelType);

// As many chains as jobs are asked for, or fewer, said aloud: where a filter remembers from frame to frame,
// where memory does not allow more, and where there are fewer frames. Throws Error.
WorkerChains makeWorkerChains(Session& session, const RunOptions& options, zt::u64 frames, Console& console);

} // namespace ombrel
