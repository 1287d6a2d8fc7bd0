#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace ombrel {

// A block of bytes that grows piece by piece without ever moving what it holds: blocks of hundreds of
// megabytes are read in without a second copy of them.
class Blob {
public:
    Blob() = default;
    explicit Blob(std::span<const std::byte> bytes) { append(bytes); }

    void append(std::span<const std::byte> bytes);
    std::size_t size() const { return byteCount; }
    // Copies as much as fits and returns the number of bytes copied.
    std::size_t copyTo(std::span<std::byte> out) const;
    // The contents in order.
    const std::vector<std::vector<std::byte>>& pieces() const { return parts; }

private:
    std::vector<std::vector<std::byte>> parts;
    std::size_t byteCount = 0;
};

} // namespace ombrel
