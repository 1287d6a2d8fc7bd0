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

} // namespace ombrel
