#include "standalone/cli/Session.h"

#include "host/String.h"

namespace ombrel::cli {

Session::Session(Console& console, const std::string& pluginPath, const DevicePlan& plan)
    : zenteo([&console](const std::string& line) { console.message(line); }),
      detector(zenteo.addDevice(plan.type, plan.width, plan.height)),
      library(PluginLibrary::find(pluginPath)) {
    library.start(zenteo);
}

std::string filterName(const zt::IDataFilter& filter) {
    zt::String name;
    filter.filterNameStr(&name);
    return name.get();
}

} // namespace ombrel::cli
