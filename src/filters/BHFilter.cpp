#include "filters/BHFilter.h"

#include "filters/LogMessage.h"

#include <cstdarg>

namespace PluginOmbrel {

BHFilter::BHFilter(zt::IZenteo* zenteo, zt::IDevMpx* device) : host(zenteo), dev(device) {}

BHFilter::~BHFilter() {
    if (leaveConfigDialog)
        leaveConfigDialog();
}

template <typename T>
T BHFilter::logError(T value, const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    lastErrorText = logMessage(*host, 0, format, arguments);
    va_end(arguments);
    return value;
}

template int BHFilter::logError<int>(int, const char*, ...) const;
template zt::IData* BHFilter::logError<zt::IData*>(zt::IData*, const char*, ...) const;

} // namespace PluginOmbrel
