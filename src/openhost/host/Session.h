#pragma once

#include "base/Console.h"
#include "base/Error.h"
#include "host/Chain.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"
#include "zt/IDataFilter.h"
#include "zt/IObject.h"

#include <string>
#include <vector>

namespace ombrel {

// The identities of the filters' own interfaces.
inline constexpr zt::u32 flatFieldObject = 1442418610;
inline constexpr zt::u32 beamHardeningObject = 1442418600;

// A filter's own interface, checked by its identity. Throws Error if the identity differs: the program does
// not know this plug-in's filter.
template <typename Interface>
Interface& filterInterface(zt::IDataFilter& filter, zt::u32 objectId) {
    auto* object = static_cast<zt::IObject*>(filter.privateInterface());
    if (!object || object->getObjectID() != objectId)
        throw Error("the plug-in's filter is not of the kind that this command supports");
    return *static_cast<Interface*>(object);
}

// The device that the filters of a command see.
struct DevicePlan {
    int type = 1;
    zt::u32 width = 256;
    zt::u32 height = 256;
};

// The host with one device and the plug-in loaded for it. Log lines go to the console.
class Session {
public:
    // An empty `pluginPath` searches for the plug-in. Throws Error.
    Session(Console& console, const std::string& pluginPath, const DevicePlan& plan)
        : zenteo([&console](const std::string& line) { console.warning(line); }),
          detector(zenteo.addDevice(plan.type, plan.width, plan.height)),
          library(PluginLibrary::find(pluginPath)) {
        library.start(zenteo);
    }

    Host& host() { return zenteo; }
    Device& device() { return detector; }
    zt::IZtPlugin& plugin() { return library.plugin(); }
    const std::string& pluginPath() const { return library.path(); }

    // The filters registered for the device.
    std::vector<zt::IDataFilter*> filters() { return zenteo.filters().filtersOf(detector); }
    // A new instance of a filter. Throws UnknownFilter or Error.
    FilterLink makeLink(const std::string& name) { return FilterLink(zenteo, detector, name); }

private:
    Host zenteo;
    Device& detector;
    PluginLibrary library;
};

} // namespace ombrel
