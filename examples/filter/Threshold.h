#pragma once

#include "filters/DeviceFilter.h"

namespace PluginOmbrel {

// Sets each pixel below a limit to 0: the skeleton of a filter with one parameter and settings of its own.
// Pixels that are not numbers stay as they are.
class Threshold : public DeviceFilter {
public:
    Threshold(zt::IZenteo* zenteo, zt::IDevMpx* device);

    void filterNameStr(zt::IString* out) const override { out->set("Threshold"); }
    void filterDescriptionStr(zt::IString* out) const override { out->set("Sets low pixels to 0"); }
    zt::IDataFilter* createNewInstance() const override { return new Threshold(host, dev); }
    zt::IData* filter(const zt::IData* data) override;
    int filterReplace(zt::IData* data) override;
    bool hasConfigGUI() const override { return false; }
    void showConfigGUI() override {}
    int saveToSettings(zt::ISettings* settings) override;
    int loadFromSettings(zt::ISettings* settings) override;
    void* privateInterface() override { return nullptr; }

private:
    static int limitChanged(zt::IParam* param, bool flag, long self);
    void apply(zt::IMpxFrame& frame) const;

    double limit = 0; // counts
    zt::IParam* limitParam = nullptr;
};

} // namespace PluginOmbrel
