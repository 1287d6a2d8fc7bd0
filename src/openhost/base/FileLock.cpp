#include "base/FileLock.h"

#include "base/AtomicFile.h"
#include "base/Error.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace ombrel {

namespace {

// The HDF5 library locks by flock(), which this kind does not meet.
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
    // Its holder removed it after it was opened here: the lock is on a file without a name.
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
