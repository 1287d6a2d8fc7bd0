#pragma once

#include "base/Console.h"

#include <string>

namespace CLI {
class App;
}

namespace ombrel {
struct MaskOptions;
}

namespace ombrel::cli {

// Each adds one command with its options to the program. Its work starts as a callback of the parser, after
// the whole command line was accepted; it throws UsageError or Error, or sets `exitCode` and returns.
struct CommandContext {
    CLI::App& program;
    Console& console;
    int& exitCode;
};

void addBenchCommand(const CommandContext& context);
void addCalibrateCommand(const CommandContext& context);
void addClusterCommand(const CommandContext& context);
void addFiltersCommand(const CommandContext& context);
void addInfoCommand(const CommandContext& context);
void addInspectCommand(const CommandContext& context);
void addMergeCommand(const CommandContext& context);
void addPackCommand(const CommandContext& context);
void addReplayCommand(const CommandContext& context);
void addRunCommand(const CommandContext& context);
void addSimulateCommand(const CommandContext& context);

// The commands of the workbench, a separate program that parses their options itself: here they are only
// listed.
void addWindowCommands(const CommandContext& context);
bool isWindowCommand(int argc, char** argv);
// Replaces this process by the workbench. Throws Error when it can't be started.
[[noreturn]] void execWorkbench(char** argv, Console& console);

// Throws UsageError unless the name of an output ends in .h5, .hdf5 or .nxs.
void checkHdf5OutputName(const std::string& output);

// --dark, with the description of its values.
void addDarkOption(CLI::App& command, std::string& dark, const std::string& description);

// The options for the mask of the device.
void addMaskOptions(CLI::App& command, MaskOptions& options);

// Reads the command line, runs the command and returns the exit code.
int runCommandLine(int argc, char** argv, Console& console);

} // namespace ombrel::cli
