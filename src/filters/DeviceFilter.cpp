#include "filters/DeviceFilter.h"

#include "host/ISettings.h"

namespace PluginOmbrel {

DeviceFilter::~DeviceFilter() {
    if (params)
        params->destroy();
}

void DeviceFilter::saveToSettingsFile() {
    if (settingsFilePath.empty())
        return;
    zt::ISettings* const settings = host->createSettings(settingsFilePath.c_str(), 1);
    saveToSettings(settings);
    settings->save();
    settings->destroy();
}

} // namespace PluginOmbrel
