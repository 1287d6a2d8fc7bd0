#pragma once

#include "filters/LogMessage.h"
#include "host/IDataFilter.h"
#include "host/IDevMpx.h"
#include "host/IParamMgr.h"
#include "host/IZenteo.h"

#include <cstdarg>
#include <string>

namespace PluginOmbrel {

// What the filters have in common: the host and the device that they are made for, the answers that all of
// them give, and their log. It adds no virtual functions of its own, so the slots stay those of IDataFilter.
class DeviceFilter : public zt::IDataFilter {
public:
    int filterType() const override { return 1; }
    zt::IDevMpx* device() const override { return dev; }
    bool isDataSupported(zt::IData* data) const override { return data->type() == zt::IData::TYPE_FRAME; }
    // Null for a filter without parameters.
    zt::IParamMgr* parameters() const override { return params; }
    void destroy() override { delete this; }
    ~DeviceFilter() override;

protected:
    // Takes over the parameters, which may be null. The host gets the flag with every line of the log.
    DeviceFilter(zt::IZenteo* zenteo, zt::IDevMpx* device, zt::IParamMgr* parameters, int flag)
        : host(zenteo), dev(device), params(parameters), logFlag(flag) {}

    // Does nothing until settings were loaded, which tell the file.
    void saveToSettingsFile();

    template <typename T>
    T logError(T value, const char* format, ...) const {
        va_list arguments;
        va_start(arguments, format);
        lastErrorText = logMessage(*host, logFlag, format, arguments);
        va_end(arguments);
        return value;
    }

    zt::IZenteo* host;
    zt::IDevMpx* dev;
    zt::IParamMgr* params;
    std::string settingsFilePath;
    mutable std::string lastErrorText;

private:
    int logFlag;
};

} // namespace PluginOmbrel
