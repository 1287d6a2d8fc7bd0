#include "standalone/cli/Session.h"

#include "host/String.h"
#include "standalone/cli/UsageError.h"

#include <algorithm>

namespace ombrel::cli {

Session::Session(Console& console, const std::string& pluginPath, const DevicePlan& plan)
    : zenteo([&console](const std::string& line) { console.message(line); }),
      detector(zenteo.addDevice(plan.type, plan.width, plan.height)),
      library(PluginLibrary::find(pluginPath)) {
    library.start(zenteo);
}

FilterLink Session::makeLink(const std::string& name) {
    const auto known = filters();
    if (std::ranges::any_of(known, [&](const auto* filter) { return filterName(*filter) == name; }))
        return FilterLink(zenteo, detector, name);
    std::string list;
    for (const zt::IDataFilter* filter : known)
        list += (list.empty() ? "" : ", ") + ("\"" + filterName(*filter) + "\"");
    if (list.empty())
        list = "none for a device of type " + std::to_string(detector.deviceType());
    throw UsageError("unknown filter \"" + name + "\"; known filters: " + list);
}

std::string filterName(const zt::IDataFilter& filter) {
    zt::String name;
    filter.filterNameStr(&name);
    return name.get();
}

} // namespace ombrel::cli
