#include "host/PluginLibrary.h"

#include "fixtures/Messages.h"
#include "fixtures/Testing.h"

#include <QtGlobal>

#include <dlfcn.h>

using namespace ombrel;

namespace {

std::string loadError(const std::string& path) {
    return errorOf([&] { const PluginLibrary library(path); });
}

std::string entryError(zt::GetPluginFunction entry) {
    return errorOf([&] { PluginLibrary::instanceOf(entry, "p.so"); });
}

// The path of a shared library that is no plug-in.
std::string someLibrary() {
    Dl_info info{};
    EXPECT_NE(::dladdr(reinterpret_cast<void*>(&qVersion), &info), 0);
    return info.dli_fname;
}

} // namespace

TEST(PluginLibrary, WhatIsNoPluginIsRefusedByOneClearLine) {
    const TemporaryFolder folder;
    const std::string path = folder / "bad%s%n.so";
    EXPECT_EQ(loadError(path), path + ": cannot be opened: No such file or directory");
    EXPECT_THAT(loadError(folder.path.string()), HasSubstr("not a regular file"));
    writeFileText(path, "");
    EXPECT_EQ(loadError(path), path + ": not a shared library: it is too short");
    writeFileText(path, std::string(100, '#'));
    EXPECT_EQ(loadError(path), path + ": not a shared library");

    const std::string whole = fileText(someLibrary());
    std::string otherMachine = whole;
    otherMachine[18] = 0x28; // a processor that this is not
    writeFileText(path, otherMachine);
    EXPECT_THAT(loadError(path), HasSubstr(path + ": cannot be loaded: "));
    for (const std::size_t size : {whole.size() / 2, whole.size() - 1}) {
        writeFileText(path, whole.substr(0, size));
        EXPECT_EQ(loadError(path), path + ": the shared library is truncated");
    }
    EXPECT_THAT(loadError(someLibrary()), HasSubstr("not a plug-in: it has no entry \"ztGetPlugin\""));
}

TEST(PluginLibrary, AnEntryThatGivesNothingIsRefused) {
    EXPECT_EQ(entryError([]() -> zt::IZtPlugin* { return nullptr; }),
              "p.so: ztGetPlugin returned no plug-in");
    EXPECT_EQ(entryError([]() -> zt::IZtPlugin* { throw std::runtime_error("no licence"); }),
              "p.so: ztGetPlugin failed: no licence");
}
