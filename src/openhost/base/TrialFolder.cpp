#include "base/TrialFolder.h"

#include "base/Error.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombrel {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view namePrefix = ".ombrel-trial-";
constexpr std::string_view namePattern = "XXXXXX";
constexpr const char* lockName = "owner";

fs::path makeFolder(const fs::path& parent) {
    std::string pattern = (parent / namePrefix).string() + std::string(namePattern);
    if (!mkdtemp(pattern.data()))
        throw Error(
            systemErrorText(parent.empty() ? "." : parent.string(), "can't make a folder in it", errno));
    return pattern;
}

// The lock file gets its name only after it is locked: if it can be locked, its owner has ended.
FileDescriptor holdLock(const fs::path& folder) {
    const std::string lock = (folder / lockName).string();
    const std::string fresh = lock + ".new";
    FileDescriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600), fresh);
    if (file.get() >= 0 && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        std::rename(fresh.c_str(), lock.c_str()); // without a lock the folder is never removed as left over
    return file;
}

// Whether the folder was made by this program and user, and its owner has ended.
bool isLeftOver(const fs::path& folder) {
    const std::string name = folder.filename().string();
    if (!name.starts_with(namePrefix) || name.size() != namePrefix.size() + namePattern.size())
        return false;
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC),
                                folder.string());
    struct stat status {};
    if (opened.get() < 0 || ::fstat(opened.get(), &status) != 0 || status.st_uid != ::geteuid())
        return false;
    const FileDescriptor lock(
        ::openat(opened.get(), lockName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC), lockName);
    return lock.get() >= 0 && ::flock(lock.get(), LOCK_EX | LOCK_NB) == 0;
}

void removeLeftOvers(const fs::path& parent) {
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(parent.empty() ? "." : parent, failure))
        if (isLeftOver(entry.path()))
            fs::remove_all(entry.path(), failure);
}

} // namespace

TrialFolder::TrialFolder(const fs::path& parent) : path(makeFolder(parent)), owner(holdLock(path)) {
    removeLeftOvers(parent);
}

TrialFolder TrialFolder::inTemporary() {
    std::error_code failure;
    const fs::path parent = fs::temp_directory_path(failure);
    if (failure) {
        const char* const named = std::getenv("TMPDIR");
        throw Error(std::string(named ? named : "/tmp") +
                    ": this folder for temporary files does not exist; set TMPDIR to another one");
    }
    return TrialFolder(parent);
}

TrialFolder::~TrialFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

} // namespace ombrel
