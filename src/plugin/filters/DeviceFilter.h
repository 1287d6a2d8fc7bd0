#pragma once

#include "support/Str.h"
#include "zt/IDataFilter.h"
#include "zt/IDevMpx.h"
#include "zt/IParamMgr.h"
#include "zt/IZenteo.h"

#include <cstdarg>
#include <memory>
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
    ~DeviceFilter() override { endParameters(); }

    // Expires when the filter ends. While a modal window is open the host may end the filter: whoever opens
    // one takes this beforehand, and afterwards touches the filter only when it has not expired.
    std::weak_ptr<const void> lifetime() const { return life; }

protected:
    // Takes over the parameters, which may be null. The host gets the flag with every line of the log.
    DeviceFilter(zt::IZenteo* zenteo, zt::IDevMpx* device, zt::IParamMgr* parameters, int flag)
        : host(zenteo), dev(device), params(parameters), logFlag(flag) {}

    // Does nothing until settings were loaded, whose file it writes.
    void saveToSettingsFile();

    // The host's parameters may call back while they end: a filter with callbacks ends them at the start of
    // its destructor, while it is whole.
    void endParameters();

    template <typename T>
    T logError(T value, const char* format, ...) const {
        va_list arguments;
        va_start(arguments, format);
        log(str::printToBuffer(format, arguments));
        va_end(arguments);
        return value;
    }
    // Hands a finished text to the host's log. It goes there as a format, so that a percent sign in it is
    // read again.
    void log(const std::string& text) const;

    zt::IZenteo* host;
    zt::IDevMpx* dev;
    zt::IParamMgr* params;
    std::string settingsFilePath;

private:
    std::shared_ptr<const void> life = std::make_shared<char>();
    int logFlag;
};

} // namespace PluginOmbrel
