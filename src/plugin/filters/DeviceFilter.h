#pragma once

#include "support/Str.h"
#include "zt/IDataFilter.h"
#include "zt/IDevMpx.h"
#include "zt/IMpxFrame.h"
#include "zt/IParam.h"
#include "zt/IZenteo.h"

#include <cstdarg>
#include <memory>
#include <string>

namespace PluginOmbrel {

// The name of the plug-in, and the source under which its filters log.
inline constexpr const char* pluginName = "ombrel";

// Asks the user which of a frame's sub-frames to take; `label` says what for. Returns its index, or -1 when
// the whole frame is to be taken: the user cancelled, or there is no window system to ask in. Opens a modal
// window, and so belongs on the thread of the user interface; the host may end the asking filter meanwhile.
// Defined with the dialogs.
int askForSubFrame(const zt::IMpxFrame& frame, const char* label);

struct DestroyData {
    void operator()(zt::IData* data) const { data->destroy(); }
};

// A clone that a filter works on. Until it is released to the caller it is destroyed with its scope, so that
// a filter that fails or throws half-way leaves nothing behind.
using ClonedFrame = std::unique_ptr<zt::IMpxFrame, DestroyData>;

// `data` must be of type IData::TYPE_FRAME.
inline ClonedFrame cloneFrame(const zt::IData& data) {
    return ClonedFrame(static_cast<zt::IMpxFrame*>(data.clone()));
}

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
