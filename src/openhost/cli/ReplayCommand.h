#pragma once

#include "base/Console.h"

#include <optional>
#include <string>

namespace ombrel::cli {

// The command line of `ombrel replay`.
struct ReplayOptions {
    std::string recorded;         // the output to replay
    std::string output;           // the new output
    std::optional<unsigned> jobs; // without it, one per processor
    bool force = false;
    bool quiet = false;
    std::string log;
    std::string plugin;
};

// Repeats the run that an output records, with the recorded settings, and reports that the frames are the
// same or which one differs first. Returns the exit code; throws Error when an input file has changed since.
int replay(const ReplayOptions& options, Console& console);

} // namespace ombrel::cli
