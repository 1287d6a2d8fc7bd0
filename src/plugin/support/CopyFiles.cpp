#include "support/CopyFiles.h"

#include "support/PathParts.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <fts.h>
#include <memory>
#include <sys/stat.h>

namespace {

struct CloseWalk {
    void operator()(FTS* walk) const { fts_close(walk); }
};

// Makes every directory that the path of a file names.
void makeDirsOf(const std::string& path) {
    for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash + 1).c_str(), 0700);
}

void copyEntry(const FTSENT& entry, const std::string& src, const std::string& dst) {
    // In a list of children the path is that of their directory, with a "/" behind it.
    const std::string dir = entry.fts_path;
    const std::string target = dst + dir.substr(src.size()) + entry.fts_name;
    struct stat status;
    if (stat(getFileDir(target.c_str()).c_str(), &status) != 0)
        makeDirsOf(target);
    copyFile((dir + entry.fts_name).c_str(), target.c_str());
}

} // namespace

static int _compare(const FTSENT** a, const FTSENT** b) {
    return std::strcmp((*a)->fts_name, (*b)->fts_name);
}

int copyFile(const char* src, const char* dst) {
    if (!src || !dst)
        return -1;
    try {
        std::ifstream from(src, std::ios::binary);
        std::ofstream to(dst, std::ios::binary);
        to << from.rdbuf();
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

int copyFileDir(std::string src, std::string dst) {
    char* const roots[] = {src.data(), nullptr};
    const std::unique_ptr<FTS, CloseWalk> walk(fts_open(roots, FTS_COMFOLLOW | FTS_NOCHDIR, _compare));
    if (!walk)
        return -1;
    while (fts_read(walk.get())) {
        const FTSENT* children = fts_children(walk.get(), 0);
        if (errno != 0)
            return 0;
        for (const FTSENT* entry = children ? children->fts_link : nullptr; entry; entry = entry->fts_link)
            copyEntry(*entry, src, dst);
    }
    return 0;
}
