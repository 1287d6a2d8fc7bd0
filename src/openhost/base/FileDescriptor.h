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

    // Fills the whole span, or throws: a file that ends before is an error too.
    void readAt(zt::u64 offset, std::span<std::byte> bytes) const;
    // The same, but tells the reason of a failure, without the path.
    std::optional<std::string> tryReadAt(zt::u64 offset, std::span<std::byte> bytes) const;
    void writeAt(zt::u64 offset, std::span<const std::byte> bytes) const;

private:
    int descriptor;
    std::string path;
};

// "PATH: what happened: the system's words for `errorNumber`".
std::string systemErrorText(const std::string& path, const std::string& what, int errorNumber);

// A file that a program writes over a long time is locked, so that no second one writes it too. The lock ends
// with the descriptor, however the program ends. Readers, the tools of HDF5 among them, are not kept out.

// Throws Error when another holds the lock. File systems without locks go without.
void lockForWriting(int descriptor, const std::string& path);

// Whether a program writes the file at the path; false when there is none.
bool isBeingWritten(const std::string& path);

// The right to write the output of a path: taken before anyone looks at what is there, and held until the
// output is whole, so that of several runs on one output only one finds it missing or incomplete. It covers a
// path without a file, and a file that is replaced, which a lock on the file itself cannot.
//
// The lock is on a file ".NAME.lock" beside the output, which its holder removes. A killed program leaves the
// file without its lock; the next one takes it.
class OutputLock {
public:
    // Throws Error when another holds the lock, when the file cannot be made, and, unless the output may be
    // there, when it is: another may have made it since the command line was checked.
    OutputLock(const std::string& output, bool mayExist);
    OutputLock(OutputLock&&) noexcept = default;
    OutputLock& operator=(OutputLock&&) = delete;
    ~OutputLock();

private:
    std::string path;
    FileDescriptor file;
};

} // namespace ombrel
