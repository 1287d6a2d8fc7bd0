#pragma once

#include "settings/SettingsTree.h"

#include <string>

namespace ombrel {

// Reads a settings file. Throws Error, "PATH:LINE:COLUMN: what is wrong", when it can't be read, is no XML,
// is not laid out as settings, holds a value that does not read as its type, or a group or key twice.
//
// The text of a blob is decoded as it is read, and never stands in memory as a whole.
SettingsTree readSettings(const std::string& path);

// The same of a file that is about to be replaced, whose failure says so: what does not read as settings may
// be anything, raw data too.
SettingsTree readReplaceable(const std::string& path);

} // namespace ombrel
