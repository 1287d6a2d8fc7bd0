#include "filters/FFFilter.h"

namespace PluginOmbrel {

void FFFilter::showConfigGUI() {
    saveToSettingsFile();
}

} // namespace PluginOmbrel
