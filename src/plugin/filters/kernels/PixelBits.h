#pragma once

#include "kernels/Buffer.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace PluginOmbrel {

// Marks on the pixels of a frame, a bit a pixel: to copy, join or compare the marks of a frame takes a small
// part of the time that one look at its pixels takes.
class PixelBits {
public:
    static constexpr std::size_t wordBits = 64;

    std::size_t size() const { return pixels; }
    std::size_t count() const;

    // No pixel is marked.
    void clear(std::size_t size);
    void assign(const PixelBits& other);
    // Replaces the marks by those of `bytes` that are not 0.
    void assignNonZero(std::span<const unsigned char> bytes);
    // Marks the pixels whose byte is 0. Pixels past the end of the bytes keep their marks.
    void addZeros(std::span<const unsigned char> bytes);
    // Sets the byte of each marked pixel to 1.
    void setMarked(std::span<unsigned char> bytes) const;
    // Sets each byte to 1 or 0.
    void expand(std::span<unsigned char> bytes) const;

    bool operator==(const PixelBits& other) const;

    // For kernels: bit i % 64 of word i / 64 is pixel i; the bits after the last pixel are 0.
    std::span<std::uint64_t> resizedWords(std::size_t size);

private:
    Buffer<std::uint64_t> storage;
    std::size_t pixels = 0;
};

} // namespace PluginOmbrel
