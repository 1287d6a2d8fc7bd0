#include "standalone/OutputFile.h"

#include "standalone/Error.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ombrel {

namespace {

std::string directoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

// Short, since a name that is just allowed must not become one that is too long.
std::string unusedName(const std::string& directory) {
    for (int number = 0;; ++number) {
        std::string name = directory + ".ombrel-" + std::to_string(::getpid()) + '-' + std::to_string(number);
        struct stat status {};
        if (::lstat(name.c_str(), &status) != 0)
            return name;
    }
}

FileDescriptor makeFile(const std::string& name, const std::string& shownPath) {
    struct stat status {};
    if (::stat(shownPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        throw Error(shownPath + ": is a directory");
    const int descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0)
        throw Error(systemErrorText(shownPath, "cannot be made", errno));
    return {descriptor, shownPath};
}

// So that the new name, too, is on the disk. Some file systems refuse it for directories: nothing is lost
// then.
void syncDirectory(const std::string& directory) {
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

OutputFile::OutputFile(const std::string& path)
    : finalPath{path}, temporary{unusedName(directoryOf(path))}, file{makeFile(temporary, path)} {}

OutputFile::~OutputFile() {
    if (!kept)
        ::unlink(published ? finalPath.c_str() : temporary.c_str());
}

void OutputFile::reserveSize(zt::u64 bytes) {
    if (const int error = ::posix_fallocate(file.get(), 0, static_cast<off_t>(bytes)); error != 0)
        throw Error(systemErrorText(finalPath, "no room for " + std::to_string(bytes) + " bytes", error));
}

void OutputFile::reserveBehind(zt::u64 bytes) {
    if (::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) != 0 &&
        errno != EOPNOTSUPP)
        throw Error(systemErrorText(finalPath, "no room for " + std::to_string(bytes) + " bytes", errno));
}

void OutputFile::cut(zt::u64 bytes) {
    if (::ftruncate(file.get(), static_cast<off_t>(bytes)) != 0)
        throw Error(systemErrorText(finalPath, "cannot be cut to its size", errno));
}

void OutputFile::publish() {
    if (::fsync(file.get()) != 0)
        throw Error(systemErrorText(finalPath, "cannot be synced to the disk", errno));
    if (std::rename(temporary.c_str(), finalPath.c_str()) != 0)
        throw Error(systemErrorText(finalPath, "cannot be put in its place", errno));
    published = true;
    syncDirectory(directoryOf(finalPath));
}

} // namespace ombrel
