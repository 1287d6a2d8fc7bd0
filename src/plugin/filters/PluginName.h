#pragma once

namespace PluginOmbrel {

// The name of the plug-in, and the source under which its filters log.
inline constexpr const char* pluginName = "ombrel";

} // namespace PluginOmbrel
