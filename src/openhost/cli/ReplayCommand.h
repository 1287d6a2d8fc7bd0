#pragma once

#include "base/Console.h"

#include <string>

namespace ombrel::cli {

// The command line of `ombrel replay`.
struct ReplayOptions {
    std::string recorded; // an output
    std::string output;   // the new one
    unsigned jobs = 1;
    bool force = false;
    bool quiet = false;
    std::string log;
    std::string plugin;
};

// Runs again what an output tells of, with the settings as they were, and says that the frames are the same
// or which one is the first that differs. Returns the exit code; throws Error when a file has changed since.
int replay(const ReplayOptions& options, Console& console);

} // namespace ombrel::cli
