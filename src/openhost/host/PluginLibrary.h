#pragma once

#include "zt/IZenteo.h"

#include <string>

namespace ombrel {

// Loads a shared library, which stays loaded until the program ends, and returns the address of one of its
// entries. Throws Error that names the path if the file is missing, truncated or not a shared library for
// this machine, or lacks the entry.
void* entryOfLibrary(const std::string& path, const char* entryName);

// A plug-in loaded from a shared library, which stays loaded until the program ends.
class PluginLibrary {
public:
    // The plug-in's path: `given` unless it is empty, else next to the program, else the installed place.
    // Throws Error that names the places if no file is found.
    static std::string find(const std::string& given);

    // Throws Error that names the path if the file is missing or not a shared library for this machine, or
    // its entry "ztGetPlugin" is missing or returns null.
    explicit PluginLibrary(const std::string& libraryPath);

    // The plug-in that the entry returns; `path` is for messages. Throws Error if it returns null.
    static zt::IZtPlugin& instanceOf(zt::GetPluginFunction entry, const std::string& path);

    const std::string& path() const { return filePath; }
    zt::IZtPlugin& plugin() const { return *instance; }

    // Calls initialize() and onStart(). Throws Error if the plug-in throws or returns anything but 0.
    void start(zt::IZenteo& host);

private:
    std::string filePath;
    zt::IZtPlugin* instance;
};

} // namespace ombrel
