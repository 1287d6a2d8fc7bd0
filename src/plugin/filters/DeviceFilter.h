#pragma once

#include "support/Str.h"
#include "zt/IDataFilter.h"
#include "zt/IDevMpx.h"
#include "zt/IMpxFrame.h"
#include "zt/IParam.h"
#include "zt/ISettings.h"
#include "zt/IZenteo.h"

#include <cstdarg>
#include <memory>
#include <string>

namespace PluginOmbrel {

// The name of the plug-in, also the source of its filters' log lines.
inline constexpr const char* pluginName = "ombrel";

// Asks the user which of a frame's sub-frames to use; `label` names the purpose. Returns its index, or -1 for
// the whole frame: the user cancelled, or no window system is available. Opens a modal window, so call it on
// the thread of the user interface; the host may end the calling filter meanwhile. Implemented with the
// dialogs.
int askForSubFrame(const zt::IMpxFrame& frame, const char* label);

struct DestroyData {
    void operator()(zt::IData* data) const { data->destroy(); }
};

// A clone that a filter works on. Until it is released to the caller it is destroyed with its scope, so that
// a filter that fails or throws leaks nothing.
using ClonedFrame = std::unique_ptr<zt::IMpxFrame, DestroyData>;

// `data` must be of type IData::TYPE_FRAME.
inline ClonedFrame cloneFrame(const zt::IData& data) {
    return ClonedFrame(static_cast<zt::IMpxFrame*>(data.clone()));
}

// The common base of the filters: their host and device, the functions that are the same for all, and their
// log. It adds no virtual functions of its own, so the slots stay those of IDataFilter.
class DeviceFilter : public zt::IDataFilter {
public:
    int filterType() const override { return 1; }
    zt::IDevMpx* device() const override { return dev; }
    bool isDataSupported(zt::IData* data) const override { return data->type() == zt::IData::TYPE_FRAME; }
    // Null for a filter without parameters.
    zt::IParamMgr* parameters() const override { return params; }
    void destroy() override { delete this; }
    ~DeviceFilter() override { endParameters(); }

    // Expires when the filter ends. While a modal window is open the host may end the filter: get this before
    // opening one, and afterwards use the filter only if it has not expired.
    std::weak_ptr<const void> lifetime() const { return life; }

protected:
    // Takes over the parameters, which may be null. The flag goes to the host with every line of the log.
    DeviceFilter(zt::IZenteo* zenteo, zt::IDevMpx* device, zt::IParamMgr* parameters, int flag)
        : host(zenteo), dev(device), params(parameters), logFlag(flag) {}

    // Writes the file that settings were loaded from; does nothing if none were loaded.
    void saveToSettingsFile() {
        if (settingsFilePath.empty())
            return;
        zt::ISettings* const settings = host->createSettings(settingsFilePath.c_str(), 1);
        saveToSettings(settings);
        settings->save();
        settings->destroy();
    }

    // The host's parameters may call back while they end: a filter with callbacks calls this at the start of
    // its destructor, while it is still complete.
    void endParameters() {
        if (params)
            params->destroy();
        params = nullptr;
    }

    template <typename T>
    T logError(T value, const char* format, ...) const {
        va_list arguments;
        va_start(arguments, format);
        log(str::printToBuffer(format, arguments));
        va_end(arguments);
        return value;
    }
    // Passes a formatted text to the host's log. The host gets it as a format, so percent signs in it are
    // interpreted again.
    void log(const std::string& text) const { host->log(pluginName, logFlag, text.c_str()); }

    zt::IZenteo* host;
    zt::IDevMpx* dev;
    zt::IParamMgr* params;
    std::string settingsFilePath;

private:
    std::shared_ptr<const void> life = std::make_shared<char>();
    int logFlag;
};

} // namespace PluginOmbrel
