#include "host/Host.h"

#include "host/LogCapture.h"
#include "host/ParamMgr.h"

namespace ombrel {

Host::Host(LogSink logSink) : sink(std::move(logSink)) {}

Host::~Host() = default;

Device& Host::addDevice(int type, zt::u32 width, zt::u32 height) {
    return *ownDevices.emplace_back(std::make_unique<Device>(type, width, height));
}

void Host::logLine(const std::string& line) {
    if (LogCapture* const capture = LogCapture::current())
        capture->add(line);
    else
        sink(line);
}

std::unique_ptr<Settings> Host::openSettings(const std::string& path) {
    return std::make_unique<Settings>(path, [this](const std::string& line) { logLine(line); });
}

void Host::log(const char* /*source*/, int /*flag*/, const char* format, ...) {
    logLine(format ? format : "");
}

void Host::devices(zt::IPtrList<zt::IDev*>* out) {
    for (const auto& device : ownDevices)
        out->add(device.get());
}

zt::IParamMgr* Host::createParamMgr() {
    return std::make_unique<ParamMgr>().release();
}

zt::ISettings* Host::createSettings(const char* path, int /*flag*/) {
    return openSettings(path ? path : "").release();
}

} // namespace ombrel
