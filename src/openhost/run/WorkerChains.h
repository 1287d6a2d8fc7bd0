#pragma once

#include "base/Console.h"
#include "base/Error.h"
#include "host/Chain.h"
#include "run/ChoiceRecorder.h"
#include "run/RunDark.h"
#include "zt/Types.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

struct RunOptions;
struct RunSetup;
class Session;

// Settings of a chain do not fit the size of the frames.
class Misfit : public Error {
    using Error::Error;
};

// The chains of a run's workers: each has its own filter instances, loaded separately.
struct WorkerChains {
    std::vector<Chain> chains;               // at least one
    bool remember = false;                   // a filter's result depends on earlier frames
    std::unique_ptr<ChoiceRecorder> choices; // null unless an adaptive filter's choices are recorded
    std::size_t chooser = 0;                 // the link of each chain whose choices these are
    std::vector<LinkFacts> facts;            // of the links that have settings, in the order of the chain
};

// The warning that Flat-Field does not find zero pixels in frames of that type; empty if it does.
std::string unseenZeroPixels(zt::u8 pixelType);

// Warnings about the loaded chain and the pixel type of its frames, one line each.
std::vector<std::string> warningsOn(RunSetup& setup);

// One chain per job, or only one if a filter carries state from frame to frame, or fewer if memory is short;
// with a message, if the user gave the number or memory is short. Never more chains than frames. Throws
// Error.
WorkerChains makeWorkerChains(Session& session, const RunOptions& options, zt::u64 frames, Console& console);

} // namespace ombrel
