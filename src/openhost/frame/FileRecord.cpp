#include "frame/FileRecord.h"

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Hash.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <sys/stat.h>

namespace ombrel {

namespace {

std::string timeText(const timespec& time) {
    std::tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%09ldZ", date, time.tv_nsec);
    return text;
}

} // namespace

FileRecord FileRecord::of(const std::string& path, bool withHash) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw Error(systemErrorText(path, "cannot be read", errno));
    if (!S_ISREG(status.st_mode)) // a pipe would hold up the program
        throw Error(path + ": is not a regular file");
    return {absolutePath(path), static_cast<zt::u64>(status.st_size), timeText(status.st_mtim),
            withHash ? fileHash(path) : std::string()};
}

std::string FileRecord::changeSince(const FileRecord& before) const {
    if (bytes != before.bytes)
        return "it has " + std::to_string(bytes) + " bytes, it had " + std::to_string(before.bytes);
    const bool haveHashes = !hash.empty() && !before.hash.empty();
    if (haveHashes && hash != before.hash)
        return "its contents have changed";
    if (!haveHashes && modified != before.modified)
        return "it was written at " + modified + ", before at " + before.modified;
    return {};
}

std::string absolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

} // namespace ombrel
