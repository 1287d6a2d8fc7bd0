#pragma once

#include "zt/IDevMpx.h"
#include "zt/IZenteo.h"

namespace PluginOmbrel {

// The plug-in as the host sees it. There is one object; it owns nothing and outlives every filter.
class Ombrel : public zt::IZtPlugin {
public:
    static const char* PLUGIN_NAME;
    static const char* PLUGIN_DESC;

    int initialize(zt::IZenteo* zenteo) override;
    void onStart() override {}
    void onClose() override {}
    const char* name() const override { return PLUGIN_NAME; }
    const char* description() const override { return PLUGIN_DESC; }
    void* privateInterface() override { return nullptr; }

    // The plug-in has no view of its own.
    void createView() {}
    // Whether the device type is a pixel detector, so that the object is an IDevMpx.
    static bool isMpxDevice(zt::IDev* dev);

private:
    // Registers a set of filters for each pixel detector that the host knows at this moment.
    void addFilters();

    zt::IZenteo* host = nullptr;
};

} // namespace PluginOmbrel
