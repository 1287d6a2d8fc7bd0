#include "filters/DeviceFilter.h"

#include "zt/ISettings.h"

namespace PluginOmbrel {

void DeviceFilter::endParameters() {
    if (params)
        params->destroy();
    params = nullptr;
}

void DeviceFilter::log(const std::string& text) const {
    host->log(pluginName, logFlag, text.c_str());
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
