#include "standalone/FileLock.h"

#include "standalone/Error.h"
#include "standalone/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>

namespace ombrel {

namespace {

// The HDF5 library locks by flock(), which this kind does not meet.
struct flock wholeFile() {
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return range;
}

} // namespace

void lockForWriting(int descriptor, const std::string& path) {
    struct flock range = wholeFile();
    if (::fcntl(descriptor, F_OFD_SETLK, &range) != 0 && (errno == EAGAIN || errno == EACCES))
        throw Error(path + ": another run is writing it");
}

bool isBeingWritten(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC), path);
    struct flock range = wholeFile();
    return file.get() >= 0 && ::fcntl(file.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

} // namespace ombrel
