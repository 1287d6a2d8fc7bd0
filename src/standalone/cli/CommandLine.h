#pragma once

#include "standalone/cli/Console.h"

namespace ombrel::cli {

// Exit codes of the program.
enum ExitCode : int {
    EXIT_ALL_DONE = 0,
    EXIT_FAILED = 1, // something failed once files were touched; what was made up to there is whole
    EXIT_USAGE = 2,  // the command line is wrong
};

// Reads the command line, runs the command and returns the exit code.
int runCommandLine(int argc, char** argv, Console& console);

} // namespace ombrel::cli
