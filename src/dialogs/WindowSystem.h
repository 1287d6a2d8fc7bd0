#pragma once

namespace PluginOmbrel {

// False in a host without an application object that can show windows.
bool canShowWindows();

} // namespace PluginOmbrel
