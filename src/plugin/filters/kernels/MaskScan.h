#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

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

} // namespace PluginOmbrel
