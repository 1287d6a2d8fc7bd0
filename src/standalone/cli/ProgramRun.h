#pragma once

#include "standalone/cli/Console.h"

namespace CLI {
class App;
}

namespace ombrel::cli {

// Reads the command line by `program`, whose commands do their work meanwhile, and returns the exit code of
// that work, or the one for a command line that is wrong or for what was thrown, after a message. Nothing is
// thrown.
int runProgram(CLI::App& program, int argc, char** argv, Console& console, const int& exitCode);

} // namespace ombrel::cli
