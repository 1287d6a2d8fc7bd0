#pragma once

#include "base/Console.h"

namespace CLI {
class App;
}

namespace ombrel {

// Exit codes of the program.
enum ExitCode : int {
    EXIT_ALL_DONE = 0,
    EXIT_FAILED = 1, // something failed once files were touched; what was made up to there is whole
    EXIT_USAGE = 2,  // the command line is wrong
};

// What main() does: runs the program, and for what it throws prints a message and returns the exit code.
int runMain(int argc, char** argv, int (*program)(int argc, char** argv, Console& console)) noexcept;

// Reads the command line by `program`, whose commands do their work meanwhile, and returns the exit code of
// that work, or the one for a command line that the parser refuses, after a message. What else is wrong is
// thrown, for runMain().
int runProgram(CLI::App& program, int argc, char** argv, Console& console, const int& exitCode);

} // namespace ombrel
