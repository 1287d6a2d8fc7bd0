#include "filters/BHFilter.h"

namespace PluginOmbrel {

BHFilter::BHFilter(zt::IZenteo* zenteo, zt::IDevMpx* device) : DeviceFilter(zenteo, device, nullptr, 0) {}

BHFilter::~BHFilter() {
    if (leaveConfigDialog)
        leaveConfigDialog();
}

} // namespace PluginOmbrel
