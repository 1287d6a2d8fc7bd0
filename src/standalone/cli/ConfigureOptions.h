#pragma once

#include "standalone/cli/Commands.h"

#include <string>
#include <vector>

namespace ombrel::cli {

// The command line of `configure`, which `ombrel` reads and hands over to the program that has the windows.
struct ConfigureOptions {
    std::string filter;
    std::string settings;
    std::string frames; // empty: nothing was measured
    std::string size;   // "WxH"; empty: that of the frames, else of a usual detector
    std::string plugin;
};

// Adds the command with its options.
CLI::App& addConfigureCommand(CLI::App& program, ConfigureOptions& options);

// The command line that these options come from, the command first.
std::vector<std::string> argumentsOf(const ConfigureOptions& options);

} // namespace ombrel::cli
