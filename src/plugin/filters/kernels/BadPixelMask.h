#pragma once

#include "kernels/PixelBits.h"
#include "zt/IMpxFrame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <emmintrin.h>
#include <span>

namespace PluginOmbrel {

// Masks hold a byte a pixel, nearly all of them 0. The others, the marks, are rare and irregular: a branch on
// each would be mispredicted every time, so they are listed without branches.

// Number of columns listed at a time, and the list, with a few more elements at the end as scratch space.
inline constexpr std::size_t maskChunk = 512;
using MarkList = std::array<std::uint16_t, maskChunk + 4>;

// Lists the positions of the marks among at most maskChunk bytes, in ascending order, and returns their
// number.
std::size_t listMarks(const unsigned char* mask, std::size_t size, MarkList& places);

std::size_t countMarks(const unsigned char* mask, std::size_t size);

// Sets each mark to 1.
void setMarksToOne(unsigned char* mask, std::size_t size);

// One bit for each of 64 bytes: set if the byte is not 0.
__attribute__((always_inline)) inline std::uint64_t marksOfGroup(const unsigned char* mask) {
    std::uint64_t zeros = 0;
    for (std::size_t i = 0; i < 64; i += sizeof(__m128i)) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + i));
        const auto bits =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())));
        zeros |= std::uint64_t{bits} << i;
    }
    return ~zeros;
}
// The same for fewer bytes; the other bits are 0.
std::uint64_t marksOfFewer(const unsigned char* mask, std::size_t size);

// Marks the pixels of value 0, and these alone. Frames are read unconverted, and only in the types i16, u32,
// u64 and double; for any other type no pixel is marked. The 64 bits of a u64 pixel are read as a double.
void markZeroPixels(const zt::IMpxFrame& frame, PixelBits& marks);

// Adds marks where a value is 0. There must be as many values as marks.
void addZeroValues(std::span<const double> values, PixelBits& marks);

// Marks the coefficients above `over` or below `under`, and these alone.
void markExtremeCoefficients(std::span<const double> coefficients, double under, double over,
                             PixelBits& marks);

} // namespace PluginOmbrel
