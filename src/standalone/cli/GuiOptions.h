#pragma once

#include "standalone/cli/Commands.h"

#include <string>
#include <vector>

namespace ombrel::cli {

// The command line of `gui`, which `ombrel` reads and hands over to the program that has the windows.
struct GuiOptions {
    std::vector<std::string> inputs; // none: the window offers what to open
    std::string plugin;
};

// Adds the command with its options.
CLI::App& addGuiCommand(CLI::App& program, GuiOptions& options);

// The command line that these options come from, the command first.
std::vector<std::string> argumentsOf(const GuiOptions& options);

} // namespace ombrel::cli
