#pragma once

#include "host/Chain.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"

#include <memory>
#include <string>
#include <vector>

namespace ombrel::workbench {

// The host with one device of the frames' size, and the plug-in initialised for it. Holders of filter
// instances share it, since the instances must end first.
class PluginHost {
public:
    // An empty `pluginPath` searches for the plug-in. `sink` is called from any thread. Throws Error.
    PluginHost(const std::string& pluginPath, zt::u32 width, zt::u32 height, Host::LogSink sink);

    Host& host() { return zenteo; }
    Device& device() { return detector; }
    // Filters registered for the device.
    std::vector<std::string> filterNames() const;
    // A new instance. Throws UnknownFilter or Error.
    FilterLink makeLink(const std::string& filter) { return {zenteo, detector, filter}; }

private:
    Host zenteo;
    Device& detector;
    PluginLibrary library;
};

using PluginHostPtr = std::shared_ptr<PluginHost>;

// Loads settings into a filter and catches exceptions. Returns the reason when it failed or logged a line;
// else empty.
std::string loadInto(zt::IDataFilter& filter, Settings& settings);

} // namespace ombrel::workbench
