#pragma once

#include "standalone/cli/ConfigureOptions.h"
#include "standalone/cli/Console.h"

namespace ombrel::workbench {

// Opens the settings window of a filter on a settings file and waits until it is closed. Needs an
// application. Throws UsageError or Error.
void configure(const cli::ConfigureOptions& options, cli::Console& console);

} // namespace ombrel::workbench
