#pragma once

#include "base/FileDescriptor.h"

#include <filesystem>
#include <string>

namespace ombrel {

// A new temporary folder, removed with its contents at the end. The program holds a lock in it, so that a
// later program can remove the folders left by killed ones.
class TrialFolder {
public:
    // Throws Error.
    explicit TrialFolder(const std::filesystem::path& parent);
    // Creates it in the folder that TMPDIR names. Throws Error.
    static TrialFolder inTemporary();
    ~TrialFolder();
    TrialFolder(const TrialFolder&) = delete;
    TrialFolder& operator=(const TrialFolder&) = delete;

    std::string operator/(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
    FileDescriptor owner;
};

} // namespace ombrel
