#include "base/FileDescriptor.h"

#include "base/AtomicFile.h"
#include "base/Error.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ombrel {

std::string systemErrorText(const std::string& path, const std::string& what, int errorNumber) {
    return path + ": " + what + ": " + std::generic_category().message(errorNumber);
}

FileDescriptor FileDescriptor::openForReading(const std::string& path) {
    // Opening a pipe without a writer would block: O_NONBLOCK makes open() return, and has no effect on a
    // file.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        throw Error(systemErrorText(path, "cannot be opened", errno));
    return {descriptor, path};
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    std::swap(path, other.path);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (descriptor >= 0)
        ::close(descriptor);
}

zt::u64 FileDescriptor::size() const {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0)
        throw Error(systemErrorText(path, "cannot be examined", errno));
    return static_cast<zt::u64>(status.st_size);
}

void FileDescriptor::readAt(zt::u64 offset, std::span<std::byte> bytes) const {
    if (const auto failure = tryReadAt(offset, bytes))
        throw Error(path + ": " + *failure);
}

std::optional<std::string> FileDescriptor::tryReadAt(zt::u64 offset, std::span<std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return "cannot be read: " + std::generic_category().message(errno);
        if (count == 0)
            return "the file ends too early";
        offset += static_cast<zt::u64>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

void FileDescriptor::writeAt(zt::u64 offset, std::span<const std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw Error(systemErrorText(path, "cannot be written", errno));
        offset += static_cast<zt::u64>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

namespace {

// The HDF5 library locks by flock(); POSIX locks do not conflict with these.
struct flock wholeFile() {
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return range;
}

FileDescriptor openLockFile(const std::string& path, const std::string& output) {
    constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    FileDescriptor file(::open(path.c_str(), flags, 0666), path);
    if (file.get() < 0)
        throw Error(systemErrorText(output, "cannot be written", errno));
    return file;
}

} // namespace

void lockForWriting(int descriptor, const std::string& path) {
    struct flock range = wholeFile();
    if (::fcntl(descriptor, F_OFD_SETLK, &range) != 0 && (errno == EAGAIN || errno == EACCES))
        throw Error(path + ": another run is writing it; try again when it has ended");
}

bool isBeingWritten(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), path);
    struct flock range = wholeFile();
    return file.get() >= 0 && ::fcntl(file.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

OutputLock::OutputLock(const std::string& output, bool mayExist)
    : path{hiddenBeside(endOfLinks(output), ".lock")}, file{openLockFile(path, output)} {
    lockForWriting(file.get(), output);
    // The holder removed the file after it was opened here, so the lock is on a deleted file.
    while (!isNamed(file, path)) {
        file = openLockFile(path, output);
        lockForWriting(file.get(), output);
    }
    std::error_code ignored;
    if (!mayExist && std::filesystem::exists(std::filesystem::symlink_status(output, ignored))) {
        ::unlink(path.c_str());
        throw Error(output + ": exists; give --force to replace it");
    }
}

OutputLock::~OutputLock() {
    if (file.get() >= 0)
        ::unlink(path.c_str());
}

} // namespace ombrel
