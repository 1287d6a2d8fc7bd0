#pragma once

#include "standalone/cli/Console.h"

namespace CLI {
class App;
}

namespace ombrel::cli {

// Each adds one command with its options to the program. Its work starts while the command line is parsed,
// after all of it was found right; it throws UsageError, or Error, or sets `exitCode` and returns.
struct CommandContext {
    CLI::App& program;
    Console& console;
    int& exitCode;
};

void addCalibrateCommand(const CommandContext& context);
void addConfigureCommand(const CommandContext& context);
void addFiltersCommand(const CommandContext& context);
void addGuiCommand(const CommandContext& context);
void addInfoCommand(const CommandContext& context);
void addMergeCommand(const CommandContext& context);
void addReplayCommand(const CommandContext& context);
void addRunCommand(const CommandContext& context);
void addSimulateCommand(const CommandContext& context);

} // namespace ombrel::cli
