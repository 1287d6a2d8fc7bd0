#pragma once

#include "zt/IMpxFrame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace PluginOmbrel {

// Masks hold a byte a pixel, nearly all of them 0. The others, the marks, are rare and come at no regular
// distance: a branch on each would be guessed wrong each time, so they are listed without.

// How many columns are listed at a time, and the list: places ahead of whose end a few more are scratch.
inline constexpr std::size_t maskChunk = 512;
using MarkList = std::array<std::uint16_t, maskChunk + 4>;

bool hasMarks(const unsigned char* mask, std::size_t size);

// Lists the places of the marks among at most maskChunk bytes, in ascending order, and returns their number.
std::size_t listMarks(const unsigned char* mask, std::size_t size, MarkList& places);

std::size_t countMarks(const unsigned char* mask, std::size_t size);

// Turns each mark into 1.
void setMarksToOne(unsigned char* mask, std::size_t size);

// A mask has one byte a pixel; a byte that is not 0 marks a bad pixel.

// Makes the mask anew: marked are the pixels of value 0. It must have the frame's size. Frames are looked at
// as they are, and only in the types i16, u32, u64 and double; of any other type no pixel is marked. The 64
// bits of a u64 pixel are taken for a double.
void markZeroPixels(const zt::IMpxFrame& frame, std::span<unsigned char> mask);

// Makes the mask anew: marked are coefficients above `over` or below `under`. It must have the table's size.
void markExtremeCoefficients(std::span<const double> coefficients, double under, double over,
                             std::span<unsigned char> mask);

// Adds to the mask the pixels whose byte in the device's mask is 0. A pixel that the device's mask does not
// reach is not masked: a device may return fewer bytes than it counts pixels.
void markMaskedPixels(std::span<const unsigned char> deviceMask, std::span<unsigned char> mask);

} // namespace PluginOmbrel
