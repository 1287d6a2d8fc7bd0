#include "host/Session.h"

namespace ombrel {

Session::Session(Console& console, const std::string& pluginPath, const DevicePlan& plan)
    : zenteo([&console](const std::string& line) { console.message(line); }),
      detector(zenteo.addDevice(plan.type, plan.width, plan.height)),
      library(PluginLibrary::find(pluginPath)) {
    library.start(zenteo);
}

} // namespace ombrel
