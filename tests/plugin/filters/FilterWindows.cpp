#include "FilterWindows.h"

#include "filters/BHFilter.h"
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"

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
