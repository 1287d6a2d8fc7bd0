#pragma once

#include <filesystem>
#include <string>

namespace ombrel::cli {

// A new folder for files that are needed for a while; gone with all it holds at the end.
class TrialFolder {
public:
    // Throws Error.
    explicit TrialFolder(const std::filesystem::path& parent);
    ~TrialFolder();
    TrialFolder(const TrialFolder&) = delete;
    TrialFolder& operator=(const TrialFolder&) = delete;

    std::string operator/(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

} // namespace ombrel::cli
