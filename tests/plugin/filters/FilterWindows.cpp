#include "FilterFixtures.h"
#include "filters/DeviceFilter.h"

namespace PluginOmbrel {

int askForSubFrame(const zt::IMpxFrame&, const char* label) {
    return filterwindows::subFrameAnswer(label);
}

void FFFilter::showConfigGUI() {
    saveToSettingsFile();
}

void BHFilter::showConfigGUI() {
    saveToSettingsFile();
}

} // namespace PluginOmbrel
