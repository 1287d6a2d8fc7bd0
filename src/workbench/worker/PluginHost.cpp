#include "worker/PluginHost.h"

#include "host/Host.h"
#include "host/Session.h"

#include <exception>

namespace ombrel::workbench {

PluginHost::PluginHost(const std::string& pluginPath, zt::u32 width, zt::u32 height, Host::LogSink sink)
    : zenteo(std::move(sink)), detector(zenteo.addDevice(1, width, height)),
      library(PluginLibrary::find(pluginPath)) {
    zenteo.frames().reportErrors([this](const std::string& reason) { zenteo.logLine(reason); });
    library.start(zenteo);
}

std::vector<std::string> PluginHost::filterNames() const {
    std::vector<std::string> names;
    for (const auto& registration : const_cast<Host&>(zenteo).filters().registrations())
        names.push_back(filterName(*registration.filter));
    return names;
}

std::string loadInto(zt::IDataFilter& filter, Settings& settings) {
    const LogCapture log;
    std::string reason;
    try {
        if (const int answer = filter.loadFromSettings(&settings))
            reason = "the filter returned " + std::to_string(answer);
    } catch (const std::exception& error) {
        reason = error.what();
    } catch (...) {
        reason = "an exception of unknown type";
    }
    for (const std::string& line : log.lines())
        reason += (reason.empty() ? "" : "; ") + line;
    return reason;
}

} // namespace ombrel::workbench
