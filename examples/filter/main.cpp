// A plug-in of this one filter, loaded by the open host:
//     ombrel run --plugin PATH/ombrel-threshold.so -f Threshold -p Threshold:Limit=20 frames.h5 -o out.h5
#include "Threshold.h"
#include "zt/IZenteo.h"
#include "zt/String.h"

namespace PluginOmbrel {

class ThresholdPlugin final : public zt::IZtPlugin {
public:
    int initialize(zt::IZenteo* host) override {
        zt::PtrList<zt::IDev*> devices;
        host->devices(&devices);
        for (zt::IDev* device : devices.vect()) // the open host knows pixel detectors alone
            host->filterMgr()->addFilter(device, new Threshold(host, static_cast<zt::IDevMpx*>(device)));
        return 0;
    }
    void onStart() override {}
    void onClose() override {}
    const char* name() const override { return "threshold"; }
    const char* description() const override { return "One filter as an example"; }
    void* privateInterface() override { return nullptr; }
};

} // namespace PluginOmbrel

extern "C" __attribute__((visibility("default"))) zt::IZtPlugin* ztGetPlugin() {
    static PluginOmbrel::ThresholdPlugin plugin;
    return &plugin;
}
