#include "filters/FFFilter.h"

namespace PluginOmbrel {

FFFilter::FFFilter(zt::IZenteo* zenteo, zt::IDevMpx* device)
    : DeviceFilter(zenteo, device, zenteo->createParamMgr(), 1) {
    initParams();
}

void FFFilter::initParams() {
    params->createString("Version", "Version", "1.0", nullptr, nullptr, zt::PARAM_CREATE_READ_ONLY);
}

void FFFilter::setUseZeroPixelsForBadPixels(bool on) {
    useZeroPixels = on;
    badPixelMaskName = "<Zero pixels>";
    useFFCoeffs = false;
}

void FFFilter::setUseFFCoeffsForBadPixels(bool on) {
    useFFCoeffs = on;
    badPixelMaskName = "<Bad FF pixels>";
    useZeroPixels = false;
}

int FFFilter::loadBadPixelMaskFromFile(const char* path, bool /*flag*/) {
    useDevMask = false;
    badPixelMaskName = path ? path : "";
    return 0;
}

} // namespace PluginOmbrel
