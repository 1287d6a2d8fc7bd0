#include "host/PluginLibrary.h"

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/ProgramRun.h"

#include <dlfcn.h>
#include <elf.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>

namespace ombrel {

namespace {

// The loader maps a truncated library and crashes on the missing pages. Linkers write the section table last.
void checkWhole(const std::string& path) {
    const FileDescriptor file = FileDescriptor::openForReading(path);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw Error(path + ": not a shared library: it is not a regular file");
    Elf64_Ehdr header;
    if (file.size() < sizeof header)
        throw Error(path + ": not a shared library: it is too short");
    file.readAt(0, std::as_writable_bytes(std::span(&header, 1)));
    if (std::string_view(reinterpret_cast<const char*>(header.e_ident), SELFMAG) != ELFMAG)
        throw Error(path + ": not a shared library");
    if (header.e_ident[EI_CLASS] == ELFCLASS64 &&
        header.e_shoff + std::size_t{header.e_shnum} * header.e_shentsize > file.size())
        throw Error(path + ": the shared library is truncated");
}

// The loader's reason, without the path at its start.
std::string loaderText(const std::string& path) {
    const char* const reason = ::dlerror();
    const std::string text = reason ? reason : "for an unknown reason";
    const std::string prefix = path + ": ";
    return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
}

} // namespace

void* entryOfLibrary(const std::string& path, const char* entryName) {
    checkWhole(path);
    // A name without a folder would be searched for among the libraries of the system.
    const std::string absolute = std::filesystem::absolute(path).string();
    void* const library = ::dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw Error(path + ": cannot be loaded: " + loaderText(absolute));
    void* const entry = ::dlsym(library, entryName);
    if (!entry)
        throw Error(path + ": not a plug-in: it has no entry \"" + entryName + "\"");
    return entry;
}

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
                "; select it with --plugin");
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
        throw Error(path + ": " + entryName + " returned no plug-in");
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
