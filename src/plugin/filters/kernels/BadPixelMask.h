#pragma once

#include "zt/IMpxFrame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace PluginOmbrel {

// Masks hold a byte a pixel, nearly all of them 0. The others, the marks, are rare and irregular: a branch on
// each would be mispredicted every time, so they are listed without branches.

// Number of columns listed at a time, and the list, with a few more elements at the end as scratch space.
inline constexpr std::size_t maskChunk = 512;
using MarkList = std::array<std::uint16_t, maskChunk + 4>;

bool hasMarks(const unsigned char* mask, std::size_t size);

// Lists the positions of the marks among at most maskChunk bytes, in ascending order, and returns their
// number.
std::size_t listMarks(const unsigned char* mask, std::size_t size, MarkList& places);

std::size_t countMarks(const unsigned char* mask, std::size_t size);

// Sets each mark to 1.
void setMarksToOne(unsigned char* mask, std::size_t size);

// A mask has one byte a pixel; a byte that is not 0 marks a bad pixel.

// Rebuilds the mask from the pixels of value 0. It must have the frame's size. Frames are read unconverted,
// and only in the types i16, u32, u64 and double; for any other type no pixel is marked. The 64 bits of a u64
// pixel are read as a double.
void markZeroPixels(const zt::IMpxFrame& frame, std::span<unsigned char> mask);

// Rebuilds the mask from the coefficients above `over` or below `under`. It must have the table's size.
void markExtremeCoefficients(std::span<const double> coefficients, double under, double over,
                             std::span<unsigned char> mask);

// Adds to the mask the pixels whose byte in the device's mask is 0. Pixels past the end of the device's mask
// are not masked: a device may return fewer bytes than it has pixels.
void markMaskedPixels(std::span<const unsigned char> deviceMask, std::span<unsigned char> mask);

} // namespace PluginOmbrel
