#include "standalone/OutputFile.h"

#include "standalone/Error.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace ombrel {

namespace {

[[noreturn]] void refuseRoom(const std::string& path, zt::u64 bytes, int errorNumber) {
    throw Error(systemErrorText(path, "no room on the disk for its " + std::to_string(bytes) + " bytes",
                                errorNumber));
}

} // namespace

OutputFile::~OutputFile() {
    if (published && !kept)
        ::unlink(file.finalPath().c_str());
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
    file.commit();
    published = true;
}

} // namespace ombrel
