#pragma once

#include "zt/IZenteo.h"

#include <string>

namespace ombrel {

// Loads a shared library, which stays loaded until the program ends, and gives the address of one of its
// entries. Throws Error that names the path: no such file, no shared library for this machine, one that is
// cut off, no such entry.
void* entryOfLibrary(const std::string& path, const char* entryName);

// A plug-in loaded from a shared library, which stays loaded until the program ends.
class PluginLibrary {
public:
    // The plug-in's path: `given` when it is not empty, else beside the program, else at the place where both
    // were installed. Throws Error that names the places when there is none.
    static std::string find(const std::string& given);

    // Throws Error that names the path: no such file, no shared library for this machine, no entry
    // "ztGetPlugin", an entry that gives nothing.
    explicit PluginLibrary(const std::string& libraryPath);

    // What the entry gives; for messages it is that of the library at `path`. Throws Error when it gives
    // nothing.
    static zt::IZtPlugin& instanceOf(zt::GetPluginFunction entry, const std::string& path);

    const std::string& path() const { return filePath; }
    zt::IZtPlugin& plugin() const { return *instance; }

    // initialize() and onStart(). Throws Error when the plug-in throws or answers anything but 0.
    void start(zt::IZenteo& host);

private:
    std::string filePath;
    zt::IZtPlugin* instance;
};

} // namespace ombrel
