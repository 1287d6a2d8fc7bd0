#include "support/Directories.h"

#include "support/WildcardMask.h"

#include <cstdio>
#include <dirent.h>
#include <ftw.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>

namespace {

constexpr int cannotOpenDir = -5;
constexpr int openDirsOfWalk = 10;

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

bool isDir(const std::string& path, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    // Some file systems don't tell the type with the name.
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

static int _rmfiles(const char* path, const struct stat*, int, struct FTW*) {
    return std::remove(path) < 0 ? -1 : 0;
}

int listFilesInDir(const char* dir, const char* mask, bool skipDirs, bool fullPath,
                   std::vector<std::string>& out) {
    const std::unique_ptr<DIR, CloseDir> stream(dir ? opendir(dir) : nullptr);
    if (!stream)
        return cannotOpenDir;
    while (const dirent* entry = readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || !matchMask(entry->d_name, mask))
            continue;
        std::string path = std::string(dir).append("/").append(name);
        if (skipDirs && isDir(path, *entry))
            continue;
        out.push_back(fullPath ? std::move(path) : std::string(name));
    }
    return 0;
}

int deleteFileDir(std::string path) {
    return nftw(path.c_str(), _rmfiles, openDirsOfWalk, FTW_DEPTH | FTW_PHYS | FTW_MOUNT) < 0 ? -1 : 0;
}
