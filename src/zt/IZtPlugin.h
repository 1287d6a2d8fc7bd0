#pragma once

#include "zt/IZenteo.h"

namespace zt {

// What the exported entry of a plug-in returns. The object lives as long as the library is loaded.
class IZtPlugin {
public:
    // Registers a set of filters for every pixel detector that the host knows now. Returns 0.
    virtual int initialize(IZenteo* host) = 0;
    virtual void onStart() = 0;
    virtual void onClose() = 0;
    virtual const char* name() const = 0;
    virtual const char* description() const = 0;
    virtual void* privateInterface() = 0;
    virtual ~IZtPlugin() = default;
};

// The type of the exported entry "ztGetPlugin".
using GetPluginFunction = IZtPlugin* (*)();

} // namespace zt
