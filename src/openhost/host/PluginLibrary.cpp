#include "host/PluginLibrary.h"

#include "base/Error.h"
#include "base/ProgramFolder.h"
#include "host/SharedLibrary.h"

#include <filesystem>

namespace ombrel {

namespace {

namespace fs = std::filesystem;

constexpr const char* entryName = "ztGetPlugin";

zt::IZtPlugin& instanceFrom(const std::string& path) {
    const auto entry = reinterpret_cast<zt::GetPluginFunction>(entryOfLibrary(path, entryName));
    return PluginLibrary::instanceOf(entry, path);
}

} // namespace

std::string PluginLibrary::find(const std::string& given) {
    if (!given.empty())
        return given;
    const fs::path folder = programFolder();
    const fs::path beside = folder / "libombrel.so";
    const fs::path installed = (folder / OMBREL_INSTALLED_PLUGIN).lexically_normal();
    for (const fs::path& candidate : {beside, installed})
        if (std::error_code failed; fs::exists(candidate, failed))
            return candidate.string();
    throw Error("the plug-in is neither at " + beside.string() + " nor at " + installed.string() +
                "; name it with --plugin");
}

zt::IZtPlugin& PluginLibrary::instanceOf(zt::GetPluginFunction entry, const std::string& path) {
    zt::IZtPlugin* plugin = nullptr;
    try {
        plugin = entry();
    } catch (const std::exception& error) {
        throw Error(path + ": " + entryName + " failed: " + error.what());
    } catch (...) {
        throw Error(path + ": " + entryName + " failed");
    }
    if (!plugin)
        throw Error(path + ": " + entryName + " gave no plug-in");
    return *plugin;
}

PluginLibrary::PluginLibrary(const std::string& libraryPath)
    : filePath(libraryPath), instance(&instanceFrom(libraryPath)) {}

void PluginLibrary::start(zt::IZenteo& host) {
    int answer = 0;
    try {
        answer = instance->initialize(&host);
        if (answer == 0)
            instance->onStart();
    } catch (const std::exception& error) {
        throw Error(filePath + ": the plug-in failed to start: " + error.what());
    } catch (...) {
        throw Error(filePath + ": the plug-in failed to start");
    }
    if (answer != 0)
        throw Error(filePath + ": the plug-in failed to start with " + std::to_string(answer));
}

} // namespace ombrel
