#pragma once

#include "base/AtomicFile.h"
#include "settings/SettingsTree.h"

namespace ombrel {

// Writes the contents as XML. A string that XML can't hold (control characters, bytes that are no UTF-8) is
// written in base64, marked by encoding="base64". Throws Error when a name can't be written, or writing
// fails.
void writeSettings(const SettingsTree& tree, AtomicFile& file);

// Replaces the file by the contents, whatever it held. Throws Error.
void writeSettingsFile(const SettingsTree& tree, const std::string& path);

} // namespace ombrel
