#include "filters/BHFilter.h"

namespace PluginOmbrel {

void BHFilter::showConfigGUI() {
    saveToSettingsFile();
}

} // namespace PluginOmbrel
