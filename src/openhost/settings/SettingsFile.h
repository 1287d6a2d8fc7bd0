#pragma once

#include "base/AtomicFile.h"
#include "settings/Settings.h"

#include <string>

namespace ombrel {

// Reads a settings file. Throws Error, "PATH:LINE:COLUMN: what is wrong", if it can't be read, is not XML,
// does not have the structure of settings, holds a value that does not match its type, or repeats a group or
// key.
//
// The text of a blob is decoded while reading; it is never held in memory as a whole.
SettingsTree readSettings(const std::string& path);

// Like readSettings(), for a file that is about to be replaced, as the error message says: a file that is not
// settings may hold anything, even raw data.
SettingsTree readReplaceable(const std::string& path);

// Writes the contents as XML. A string that XML can't represent (control characters, invalid UTF-8) is
// written in base64, marked by encoding="base64". Throws Error if a name can't be represented or writing
// fails.
void writeSettings(const SettingsTree& tree, AtomicFile& file);

// Replaces the file by the contents, whatever it held before. Throws Error.
void writeSettingsFile(const SettingsTree& tree, const std::string& path);

} // namespace ombrel
