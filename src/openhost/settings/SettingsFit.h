#pragma once

#include "settings/SettingsTree.h"
#include "zt/Types.h"

#include <string>

namespace ombrel {

// Why settings cannot serve frames of that size, whatever the frames hold: each of them would fail. Both
// sizes are in the text, which is empty when nothing speaks against it. `path` is the settings file's, beside
// which the adaptive filter's heap is.
std::string misfit(const SettingsTree& settings, const std::string& path, zt::u32 width, zt::u32 height);

} // namespace ombrel
