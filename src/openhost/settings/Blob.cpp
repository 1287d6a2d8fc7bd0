#include "settings/Blob.h"

#include <algorithm>

namespace ombrel {

namespace {

constexpr std::size_t pieceBytes = std::size_t{1} << 20;

} // namespace

void Blob::append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        if (parts.empty() || parts.back().size() == pieceBytes)
            parts.emplace_back().reserve(std::min(bytes.size(), pieceBytes));
        std::vector<std::byte>& last = parts.back();
        const std::size_t count = std::min(bytes.size(), pieceBytes - last.size());
        last.insert(last.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        byteCount += count;
        bytes = bytes.subspan(count);
    }
}

std::size_t Blob::copyTo(std::span<std::byte> out) const {
    std::size_t copied = 0;
    for (const std::vector<std::byte>& part : parts) {
        const std::size_t count = std::min(part.size(), out.size() - copied);
        std::copy_n(part.begin(), count, out.begin() + static_cast<std::ptrdiff_t>(copied));
        copied += count;
    }
    return copied;
}

} // namespace ombrel
