#include "base/AtomicFile.h"

#include "base/Error.h"

#include <QJsonDocument>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombrel {

namespace {

namespace fs = std::filesystem;

constexpr const char* notWritten = "cannot be written";

std::string directoryOf(const std::string& path) {
    const std::string directory = fs::path(path).parent_path().string();
    return directory.empty() ? "." : directory;
}

// Refuses files that must not be replaced: a rename would silently replace a write-protected file.
void checkReplaceable(const std::string& shownPath, const std::string& target) {
    struct stat status {};
    if (::stat(target.c_str(), &status) != 0)
        return; // a new file; if its folder is not writable, creating it fails
    if (!S_ISREG(status.st_mode))
        throw Error(shownPath + ": " + notWritten + ": it is not a regular file");
    if (::access(target.c_str(), W_OK) != 0)
        throw Error(systemErrorText(shownPath, notWritten, errno));
}

// Waits for the lock. On file systems without locks, nothing is locked.
void lock(int descriptor) {
    while (::flock(descriptor, LOCK_EX) != 0 && errno == EINTR) {
    }
}

// Users who cannot read the old contents must not read the new ones while they are written.
mode_t modeBefore(const std::string& target) {
    struct stat status {};
    return ::stat(target.c_str(), &status) == 0 ? (status.st_mode & 0666) | 0600 : 0666;
}

// Opens the file next to the target; `isMine` says whether it was created here or existed before.
int openFresh(const std::string& path, mode_t mode, bool& isMine) {
    for (;;) {
        int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        isMine = descriptor >= 0 || errno != EEXIST;
        if (isMine)
            return descriptor;
        descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (descriptor >= 0 || errno != ENOENT)
            return descriptor;
    }
}

// Creates the file next to the target and locks it. The creator holds the lock until it has renamed or
// removed the file, so a file that can be locked was left over by a killed program.
FileDescriptor makeFresh(const std::string& shownPath, const std::string& freshPath, mode_t mode) {
    for (;;) {
        bool isMine = false;
        FileDescriptor file(openFresh(freshPath, mode, isMine), shownPath);
        if (file.get() < 0)
            throw Error(systemErrorText(isMine ? shownPath : freshPath, notWritten, errno));
        lock(file.get());
        if (!isNamed(file, freshPath))
            continue; // its creator has finished, or another process removed it as left over
        if (isMine)
            return file;
        if (::unlink(freshPath.c_str()) != 0)
            throw Error(systemErrorText(freshPath, notWritten, errno));
    }
}

void keepMode(const std::string& target, int descriptor) {
    struct stat status {};
    if (::stat(target.c_str(), &status) == 0)
        ::fchmod(descriptor, status.st_mode & 07777);
}

} // namespace

std::string endOfLinks(const std::string& path) {
    constexpr int mostLinks = 40;
    fs::path current = path;
    std::error_code failed;
    for (int links = 0; fs::is_symlink(current, failed); ++links) {
        if (links == mostLinks)
            throw Error(systemErrorText(path, notWritten, ELOOP));
        const fs::path next = fs::read_symlink(current, failed);
        if (failed)
            throw Error(systemErrorText(path, notWritten, failed.value()));
        current = current.parent_path() / next; // an absolute link replaces the whole path
    }
    return current.string();
}

std::string hiddenBeside(const std::string& path, const std::string& suffix) {
    constexpr std::size_t longestName = 255;
    const std::string name = fs::path(path).filename().string();
    return directoryOf(path) + "/." + name.substr(0, longestName - 1 - suffix.size()) + suffix;
}

bool isNamed(const FileDescriptor& file, const std::string& path) {
    struct stat open {};
    struct stat named {};
    return ::fstat(file.get(), &open) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

AtomicFile::AtomicFile(const std::string& path)
    : shownPath(path), target(endOfLinks(path)), freshPath(hiddenBeside(target, ".new")),
      fresh((checkReplaceable(shownPath, target), makeFresh(shownPath, freshPath, modeBefore(target)))) {}

AtomicFile::~AtomicFile() {
    if (!committed)
        ::unlink(freshPath.c_str());
}

void AtomicFile::write(std::span<const std::byte> bytes) {
    fresh.writeAt(length, bytes);
    length += bytes.size();
}

void AtomicFile::sync() {
    if (::fsync(fresh.get()) != 0)
        throw Error(systemErrorText(shownPath, notWritten, errno));
}

void AtomicFile::commit() {
    keepMode(target, fresh.get());
    sync();
    if (std::rename(freshPath.c_str(), target.c_str()) != 0)
        throw Error(systemErrorText(shownPath, notWritten, errno));
    committed = true;
    ::flock(fresh.get(), LOCK_UN); // the lock is on the new name, so the old one is free again
    // The rename must be durable too. Where a file system cannot sync a directory, nothing more can be done.
    const int directory = ::open(directoryOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        ::fsync(directory);
        ::close(directory);
    }
}

void replaceFile(const std::string& path, std::string_view contents) {
    AtomicFile file(path);
    file.write(std::as_bytes(std::span(contents)));
    file.commit();
}

void writeJsonFile(const std::string& path, const QJsonObject& json) {
    const QByteArray text = QJsonDocument(json).toJson();
    replaceFile(path, {text.data(), static_cast<std::size_t>(text.size())});
}

} // namespace ombrel
