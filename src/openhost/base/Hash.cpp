#include "base/Hash.h"

#include "base/FileDescriptor.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <vector>
#include <xxhash.h>

namespace ombrel {

namespace {

struct FreeState {
    void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
};

} // namespace

zt::u64 pixelHash(std::span<const std::byte> pixels) {
    return XXH3_64bits(pixels.data(), pixels.size());
}

std::string fileHash(const std::string& path) {
    const FileDescriptor file = FileDescriptor::openForReading(path);
    const std::unique_ptr<XXH3_state_t, FreeState> state(XXH3_createState());
    if (!state)
        throw std::bad_alloc();
    XXH3_128bits_reset(state.get());
    std::vector<std::byte> buffer(std::size_t{1} << 20);
    const zt::u64 size = file.size();
    for (zt::u64 offset = 0; offset < size; offset += buffer.size()) {
        const auto piece = std::span(buffer).first(std::min<zt::u64>(buffer.size(), size - offset));
        file.readAt(offset, piece);
        XXH3_128bits_update(state.get(), piece.data(), piece.size());
    }
    const XXH128_hash_t hash = XXH3_128bits_digest(state.get());
    return hashText(hash.high64) + hashText(hash.low64);
}

std::string hashText(zt::u64 hash) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

} // namespace ombrel
