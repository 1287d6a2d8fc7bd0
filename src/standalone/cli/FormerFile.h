#pragma once

#include <string>

namespace ombrel::cli {

// Puts a file back as it was, or away where there was none, unless keepNew() is called: for files that are
// replaced together or not at all.
class FormerFile {
public:
    // Throws Error, before anything was changed.
    explicit FormerFile(const std::string& path);
    ~FormerFile();
    FormerFile(const FormerFile&) = delete;
    FormerFile& operator=(const FormerFile&) = delete;

    void keepNew();

private:
    std::string target;
    std::string backup; // a second name of the former file; empty where there was none
    bool restores = true;
};

} // namespace ombrel::cli
