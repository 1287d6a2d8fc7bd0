#include "standalone/cli/FormerFile.h"

#include "standalone/Error.h"

#include <filesystem>

namespace ombrel::cli {

namespace fs = std::filesystem;

FormerFile::FormerFile(const std::string& path) : target(fs::weakly_canonical(path).string()) {
    if (!fs::exists(target))
        return;
    backup = target + ".former";
    std::error_code failure;
    fs::remove(backup, failure);
    fs::create_hard_link(target, backup, failure);
    if (failure) // a file system without links
        fs::copy_file(target, backup, failure);
    if (failure)
        throw Error(target + ": can't be kept until its successor stands: " + failure.message());
}

FormerFile::~FormerFile() {
    std::error_code ignored;
    if (!restores)
        return;
    if (backup.empty())
        fs::remove(target, ignored);
    else
        fs::rename(backup, target, ignored);
}

void FormerFile::keepNew() {
    std::error_code ignored;
    restores = false;
    if (!backup.empty())
        fs::remove(backup, ignored);
}

} // namespace ombrel::cli
