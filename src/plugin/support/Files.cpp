#include "support/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <exception>
#include <fstream>
#include <fts.h>
#include <ftw.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace {

const char* skipStars(const char* mask) {
    while (*mask == '*')
        ++mask;
    return mask;
}

bool matchesOne(char character, char maskCharacter) {
    return maskCharacter == '?' ? character != '.' : maskCharacter == character;
}

} // namespace

int matchMask(const char* name, const char* mask) {
    // Where to continue after a mismatch: after the last star, which then matches one character more.
    const char* resumeMask = nullptr;
    const char* resumeName = nullptr;
    while (*name) {
        if (*mask == '*') {
            mask = skipStars(mask);
            if (!*mask)
                return 1;
            resumeMask = mask;
            resumeName = name;
        } else if (matchesOne(*name, *mask)) {
            ++mask;
            ++name;
        } else if (resumeMask) {
            mask = resumeMask;
            name = ++resumeName;
        } else {
            return 0;
        }
    }
    return *skipStars(mask) == '\0';
}

std::string getFileDir(const char* path) {
    const std::string_view whole = path;
    const std::size_t slash = whole.rfind('/');
    return std::string(whole.substr(0, slash == whole.npos ? 0 : slash));
}

std::string getFileNameWithoutExt(const char* path) {
    const std::string_view whole = path ? path : "";
    return std::string(whole.substr(0, whole.rfind('.')));
}

long fileSize(const char* path) {
    struct stat status;
    if (!path || stat(path, &status) != 0 || !S_ISREG(status.st_mode))
        return -1;
    return status.st_size;
}

namespace {

constexpr int cannotOpenDir = -5;
constexpr int openDirsOfWalk = 10;

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

bool isDir(const std::string& path, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    // Some file systems don't return the type with the name.
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

namespace {

struct CloseWalk {
    void operator()(FTS* walk) const { fts_close(walk); }
};

// Creates all parent directories of a file.
void makeDirsOf(const std::string& path) {
    for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash + 1).c_str(), 0700);
}

void copyEntry(const FTSENT& entry, const std::string& src, const std::string& dst) {
    // In a list of children the path is that of their directory, with a trailing "/".
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

namespace {

constexpr unsigned long largestBuffer = 1ul << 20;

} // namespace

bool isFilesEqual(const char* a, const char* b, unsigned long bufferSize) {
    const long size = fileSize(a);
    if (size < 0 || size != fileSize(b))
        return false;
    std::ifstream fileA(a, std::ios::binary);
    std::ifstream fileB(b, std::ios::binary);
    if (!fileA.is_open() || !fileB.is_open())
        return false;

    // The block size does not change the result, but it must not be 0.
    const auto chunk = static_cast<std::streamsize>(std::clamp(bufferSize, 1ul, largestBuffer));
    std::vector<char> bufferA(static_cast<std::size_t>(chunk));
    std::vector<char> bufferB(bufferA.size());
    while (fileA.good() || fileB.good()) {
        fileA.read(bufferA.data(), chunk);
        fileB.read(bufferB.data(), chunk);
        if (std::memcmp(bufferA.data(), bufferB.data(), static_cast<std::size_t>(fileA.gcount())) != 0)
            return false;
    }
    return true;
}
