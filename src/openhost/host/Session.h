#pragma once

#include "base/Console.h"
#include "host/FilterLink.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"

#include <string>
#include <vector>

namespace ombrel {

// The device that stands behind the filters of a command.
struct DevicePlan {
    int type = 1;
    zt::u32 width = 256;
    zt::u32 height = 256;
};

// The host with one device and the plug-in loaded for it. What is logged goes to the console.
class Session {
public:
    // `pluginPath` empty finds the plug-in. Throws Error.
    Session(Console& console, const std::string& pluginPath, const DevicePlan& plan);

    Host& host() { return zenteo; }
    Device& device() { return detector; }
    zt::IZtPlugin& plugin() { return library.plugin(); }
    const std::string& pluginPath() const { return library.path(); }

    // The filters as they were registered for the device.
    std::vector<zt::IDataFilter*> filters() { return zenteo.filters().filtersOf(detector); }
    // A new instance of a filter. Throws UnknownFilter or Error.
    FilterLink makeLink(const std::string& name) { return FilterLink(zenteo, detector, name); }

private:
    Host zenteo;
    Device& detector;
    PluginLibrary library;
};

using ombrel::filterName;

} // namespace ombrel
