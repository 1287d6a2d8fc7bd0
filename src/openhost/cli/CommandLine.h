#pragma once

#include "base/Console.h"

namespace ombrel::cli {

// Reads the command line, runs the command and returns the exit code.
int runCommandLine(int argc, char** argv, Console& console);

} // namespace ombrel::cli
