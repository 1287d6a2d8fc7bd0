#pragma once

#include "base/Console.h"

namespace ombrel::workbench {

// Reads the command line, shows the windows that it asks for until they are closed, and returns the exit
// code. Nothing is thrown.
int runWorkbench(int argc, char** argv, Console& console);

} // namespace ombrel::workbench
