#include "entry/Ombrel.h"

#include "filters/AdaptiveFF.h"
#include "filters/BHFilter.h"
#include "filters/Binning2x2.h"
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"
#include "zt/IDevMpx.h"
#include "zt/String.h"

namespace PluginOmbrel {

const char* Ombrel::PLUGIN_NAME = pluginName;
const char* Ombrel::PLUGIN_DESC = "Plugin that manages filters";

// Created when the library is loaded. initialize() sets the host pointer.
Ombrel ombrel;

int Ombrel::initialize(zt::IZenteo* zenteo) {
    host = zenteo;
    addFilters();
    return 0;
}

bool Ombrel::isMpxDevice(zt::IDev* dev) {
    return dev->deviceType() == 1 || dev->deviceType() == 2 || dev->deviceType() == 4 ||
           dev->deviceType() == 3 || dev->deviceType() == 10;
}

void Ombrel::addFilters() {
    zt::PtrList<zt::IDev*> devices;
    host->devices(&devices);
    for (zt::IDev* dev : devices.vect()) {
        if (!isMpxDevice(dev))
            continue;
        auto* mpx = static_cast<zt::IDevMpx*>(dev);
        host->filterMgr()->addFilter(dev, new FFFilter(host, mpx));
        host->filterMgr()->addFilter(dev, new BHFilter(host, mpx));
        host->filterMgr()->addFilter(dev, new Binning2x2(host, mpx));
        host->filterMgr()->addFilter(dev, new AdaptiveFF(host, mpx));
    }
}

} // namespace PluginOmbrel

extern "C" __attribute__((visibility("default"))) zt::IZtPlugin* ztGetPlugin() {
    return &PluginOmbrel::ombrel;
}
