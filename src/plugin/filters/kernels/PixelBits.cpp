#include "kernels/PixelBits.h"

#include "kernels/BadPixelMask.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace PluginOmbrel {

namespace {

// Calls `take` with each word's index and the marks of its bytes.
template <typename Take>
void forEachWord(std::span<const unsigned char> bytes, Take take) {
    std::size_t i = 0;
    for (; i + PixelBits::wordBits <= bytes.size(); i += PixelBits::wordBits)
        take(i / PixelBits::wordBits, marksOfGroup(bytes.data() + i));
    if (i < bytes.size())
        take(i / PixelBits::wordBits, marksOfFewer(bytes.data() + i, bytes.size() - i));
}

} // namespace

std::span<std::uint64_t> PixelBits::resizedWords(std::size_t size) {
    storage.resize((size + wordBits - 1) / wordBits);
    pixels = size;
    return storage.span();
}

std::size_t PixelBits::count() const {
    std::size_t marks = 0;
    for (const std::uint64_t word : storage.span())
        marks += static_cast<std::size_t>(std::popcount(word));
    return marks;
}

void PixelBits::clear(std::size_t size) {
    std::ranges::fill(resizedWords(size), std::uint64_t{0});
}

void PixelBits::assign(const PixelBits& other) {
    std::ranges::copy(other.storage.span(), resizedWords(other.pixels).begin());
}

void PixelBits::assignNonZero(std::span<const unsigned char> bytes) {
    const std::span<std::uint64_t> words = resizedWords(bytes.size());
    forEachWord(bytes, [&](std::size_t i, std::uint64_t marks) { words[i] = marks; });
}

void PixelBits::addZeros(std::span<const unsigned char> bytes) {
    const std::span<const unsigned char> known = bytes.first(std::min(bytes.size(), pixels));
    const std::size_t beyond = known.size() % wordBits;
    forEachWord(known, [&](std::size_t i, std::uint64_t marks) {
        const bool isPart = beyond != 0 && i == known.size() / wordBits;
        storage.data()[i] |= ~marks & (isPart ? (std::uint64_t{1} << beyond) - 1 : ~std::uint64_t{0});
    });
}

void PixelBits::setMarked(std::span<unsigned char> bytes) const {
    for (std::size_t i = 0; i < storage.size(); ++i)
        for (std::uint64_t marks = storage.data()[i]; marks != 0; marks &= marks - 1)
            bytes[i * wordBits + static_cast<std::size_t>(std::countr_zero(marks))] = 1;
}

void PixelBits::expand(std::span<unsigned char> bytes) const {
    std::ranges::fill(bytes, static_cast<unsigned char>(0));
    setMarked(bytes);
}

bool PixelBits::operator==(const PixelBits& other) const {
    return pixels == other.pixels && (storage.empty() || std::memcmp(storage.data(), other.storage.data(),
                                                                     storage.span().size_bytes()) == 0);
}

} // namespace PluginOmbrel
