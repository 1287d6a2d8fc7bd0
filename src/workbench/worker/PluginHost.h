#pragma once

#include "host/Chain.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"

#include <memory>
#include <string>
#include <vector>

namespace ombrel::workbench {

// The host with one device of the frames' size, and the plug-in started for it. Whoever holds filter
// instances shares it, since they must end before it.
class PluginHost {
public:
    // `pluginPath` empty finds the plug-in. `sink` is called from any thread. Throws Error.
    PluginHost(const std::string& pluginPath, zt::u32 width, zt::u32 height, Host::LogSink sink);

    Host& host() { return zenteo; }
    Device& device() { return detector; }
    // Of the filters that there are for the device.
    std::vector<std::string> filterNames() const;
    // A new instance. Throws UnknownFilter or Error.
    FilterLink makeLink(const std::string& filter) { return {zenteo, detector, filter}; }

private:
    Host zenteo;
    Device& detector;
    PluginLibrary library;
};

using PluginHostPtr = std::shared_ptr<PluginHost>;

// Hands settings to a filter under a catch. The reason when it failed, or logged a line; else empty.
std::string loadInto(zt::IDataFilter& filter, Settings& settings);

} // namespace ombrel::workbench
