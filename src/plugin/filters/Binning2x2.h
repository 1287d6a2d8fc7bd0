#pragma once

#include "filters/DeviceFilter.h"

namespace PluginOmbrel {

// Replaces each 2 x 2 block of a frame by the block's sum, in all four places: the frame keeps its size.
//
// A last odd column is paired with the first pixel of the next row, a last odd row with the elements after
// the pixels: a frame must own room for width + 1 more elements. The filter has no state, so one instance may
// process several frames at once.
class Binning2x2 : public DeviceFilter {
public:
    Binning2x2(zt::IZenteo* zenteo, zt::IDevMpx* device);

    void filterNameStr(zt::IString* out) const override { out->set("Binning 2x2"); }
    void filterDescriptionStr(zt::IString* out) const override { out->set("Binning 2x2"); }
    zt::IDataFilter* createNewInstance() const override { return new Binning2x2(host, dev); }
    zt::IData* filter(const zt::IData* data) override;
    int filterReplace(zt::IData* data) override;
    bool hasConfigGUI() const override { return false; }
    void showConfigGUI() override {}
    int saveToSettings(zt::ISettings*) override { return 0; }
    int loadFromSettings(zt::ISettings*) override { return 0; }
    void* privateInterface() override { return nullptr; }

private:
    void initParams();
};

} // namespace PluginOmbrel
