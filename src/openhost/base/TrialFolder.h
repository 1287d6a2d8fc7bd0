#pragma once

#include "base/FileDescriptor.h"

#include <filesystem>
#include <string>

namespace ombrel {

// A new folder for files that are needed for a while; it is removed with all it holds at the end. The program
// holds a lock in it meanwhile, so that the next one removes the folders of programs that were killed.
class TrialFolder {
public:
    // Throws Error.
    explicit TrialFolder(const std::filesystem::path& parent);
    // In the folder that TMPDIR names. Throws Error.
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
