#include "host/Host.h"

#include "host/Param.h"

namespace ombrel {

namespace {

thread_local LogCapture* innermost = nullptr;

} // namespace

LogCapture::LogCapture() : outer(innermost) {
    innermost = this;
}

LogCapture::~LogCapture() {
    innermost = outer;
}

LogCapture* LogCapture::current() {
    return innermost;
}

FilterMgr::~FilterMgr() {
    while (!entries.empty())
        entries.pop_back();
}

std::vector<zt::IDataFilter*> FilterMgr::filtersOf(const zt::IDev& device) const {
    std::vector<zt::IDataFilter*> found;
    for (const Registration& entry : entries)
        if (entry.device == &device)
            found.push_back(entry.filter.get());
    return found;
}

void FilterMgr::addFilter(zt::IDev* dev, zt::IDataFilter* filter) {
    if (filter)
        entries.push_back({dev, FilterPtr(filter)});
}

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
    return std::make_unique<Settings>(
        path, [this](const std::string& line) { logLine(line); });
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
