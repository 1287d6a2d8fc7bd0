#pragma once

#include "base/Console.h"

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
void addFiltersCommand(const CommandContext& context);
void addInfoCommand(const CommandContext& context);
void addMergeCommand(const CommandContext& context);
void addReplayCommand(const CommandContext& context);
void addRunCommand(const CommandContext& context);
void addSimulateCommand(const CommandContext& context);

// The commands of the program that has the windows, which is beside this one and reads their options itself:
// here they are only listed.
void addWindowCommands(const CommandContext& context);
bool isWindowCommand(int argc, char** argv);
// Becomes that program. Throws Error when it can't be started.
[[noreturn]] void execWorkbench(char** argv, Console& console);

// Reads the command line, runs the command and returns the exit code.
int runCommandLine(int argc, char** argv, Console& console);

} // namespace ombrel::cli
