#include "filters/FFFilter.h"

#include "filters/LogMessage.h"

#include <cstdarg>

namespace PluginOmbrel {

namespace {

constexpr int logFlag = 1;

} // namespace

FFFilter::FFFilter(zt::IZenteo* zenteo, zt::IDevMpx* device)
    : host(zenteo), dev(device), params(zenteo->createParamMgr()) {
    initParams();
}

FFFilter::~FFFilter() {
    if (params)
        params->destroy();
    params = nullptr;
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

template <typename T>
T FFFilter::logError(T value, const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    logMessage(*host, logFlag, format, arguments);
    va_end(arguments);
    return value;
}

template int FFFilter::logError<int>(int, const char*, ...) const;
template zt::IData* FFFilter::logError<zt::IData*>(zt::IData*, const char*, ...) const;

} // namespace PluginOmbrel
