#pragma once

#include "zt/Types.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace ombrel {

// Owns an open file. Throws Error with the path and the system's reason.
class FileDescriptor {
public:
    static FileDescriptor openForReading(const std::string& path);

    // `shownPath` is for messages.
    FileDescriptor(int owned, std::string shownPath) : descriptor{owned}, path{std::move(shownPath)} {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor{std::exchange(other.descriptor, -1)}, path{std::move(other.path)} {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    int get() const { return descriptor; }
    zt::u64 size() const;

    // Fills the whole span; throws if the file ends early.
    void readAt(zt::u64 offset, std::span<std::byte> bytes) const;
    // Like readAt(), but returns the reason of a failure, without the path.
    std::optional<std::string> tryReadAt(zt::u64 offset, std::span<std::byte> bytes) const;
    void writeAt(zt::u64 offset, std::span<const std::byte> bytes) const;

private:
    int descriptor;
    std::string path;
};

// "PATH: what happened: the system's words for `errorNumber`".
std::string systemErrorText(const std::string& path, const std::string& what, int errorNumber);

// A file that a program writes over a long time is locked against a second writer. The lock is released with
// the descriptor, however the program ends. Readers, including the HDF5 tools, are not affected.

// Throws Error if another program holds the lock. On file systems without locks, nothing is locked.
void lockForWriting(int descriptor, const std::string& path);

// Whether a program is writing the file at the path; false if the file does not exist.
bool isBeingWritten(const std::string& path);

// The right to write the output at a path. It is taken before the output is examined and held until the
// output is complete, so that of several runs with one output only one finds it missing or incomplete. It
// also covers a path without a file and a file that is replaced, which a lock on the file itself cannot.
//
// The lock is on a file ".NAME.lock" next to the output, which its holder removes. A killed program leaves
// the file unlocked; the next run takes it.
class OutputLock {
public:
    // Throws Error if another run holds the lock, if the lock file cannot be made, or if the output exists
    // although `mayExist` is false: another run may have made it since the command line was checked.
    OutputLock(const std::string& output, bool mayExist);
    OutputLock(OutputLock&&) noexcept = default;
    OutputLock& operator=(OutputLock&&) = delete;
    ~OutputLock();

private:
    std::string path;
    FileDescriptor file;
};

} // namespace ombrel
