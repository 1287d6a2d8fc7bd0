#include "frame/OutputFile.h"

#include "base/Error.h"
#include "base/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace ombrel {

namespace {

[[noreturn]] void refuseRoom(const std::string& path, zt::u64 bytes, int errorNumber) {
    throw Error(systemErrorText(path, "no room on the disk for its " + std::to_string(bytes) + " bytes",
                                errorNumber));
}

} // namespace

OutputFile::OutputFile(const std::string& path) : shownPath{path}, present{-1, path} {
    if (isBeingWritten(path))
        throw Error(path + ": another run is writing it; try again when it has ended");
    fresh = std::make_unique<AtomicFile>(path);
    target = fresh->finalPath();
    lockForWriting(fresh->descriptor().get(), path);
}

OutputFile::OutputFile(const std::string& path, FileDescriptor file)
    : shownPath{path}, present{std::move(file)}, target{endOfLinks(path)}, published{true}, kept{true} {}

OutputFile OutputFile::reopen(const std::string& path) {
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC), path);
    if (file.get() < 0)
        throw Error(systemErrorText(path, "cannot be written", errno));
    lockForWriting(file.get(), path);
    return OutputFile(path, std::move(file));
}

OutputFile::~OutputFile() {
    if (published && !kept && isNamed(descriptor(), target))
        ::unlink(target.c_str());
}

void OutputFile::reserveSize(zt::u64 bytes) {
    if (const int failed = ::posix_fallocate(descriptor().get(), 0, static_cast<off_t>(bytes)); failed != 0)
        refuseRoom(path(), bytes, failed);
}

void OutputFile::reserveBehind(zt::u64 bytes) {
    const int status = ::fallocate(descriptor().get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes));
    if (status != 0 && errno != EOPNOTSUPP)
        refuseRoom(path(), bytes, errno);
}

void OutputFile::cut(zt::u64 bytes) {
    if (::ftruncate(descriptor().get(), static_cast<off_t>(bytes)) != 0)
        throw Error(systemErrorText(path(), "cannot be cut to its size", errno));
}

void OutputFile::publish() {
    fresh->commit();
    published = true;
}

void OutputFile::checkInPlace() const {
    if (published && !isNamed(descriptor(), target))
        throw Error(path() + ": was removed or replaced during the run; its frames are lost; repeat the run");
}

} // namespace ombrel
