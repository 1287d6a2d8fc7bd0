#pragma once

#include "base/AtomicFile.h"
#include "settings/Settings.h"

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

// Writes the contents as XML. A string that XML can't hold (control characters, bytes that are no UTF-8) is
// written in base64, marked by encoding="base64". Throws Error when a name can't be written, or writing
// fails.
void writeSettings(const SettingsTree& tree, AtomicFile& file);

// Replaces the file by the contents, whatever it held. Throws Error.
void writeSettingsFile(const SettingsTree& tree, const std::string& path);

} // namespace ombrel
