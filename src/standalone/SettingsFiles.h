#pragma once

#include "standalone/SettingsTree.h"

#include <string>
#include <vector>

namespace ombrel {

// The files that a filter reads besides its settings file: NAME.bin beside NAME.xml, and what the settings
// name. A key that begins with "Log" names a file that the filter writes.
std::vector<std::string> filesUsedBy(const SettingsTree& settings, const std::string& path);

// The file that a "FILTER:PARAM=VALUE" names, by the same rule; empty when it names none.
std::string fileUsedBy(const std::string& assignment);

} // namespace ombrel
