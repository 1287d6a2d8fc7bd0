#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace PluginOmbrel {

// The fill of one bad pixel: which pixel, and which cells of its 5 x 5 neighbourhood are its sources.
class Fill {
public:
    // One bit for each cell of the neighbourhood, row by row, lowest bit first.
    using Cells = std::uint32_t;
    static constexpr Cells allButCentre = 0x1ffffff & ~(Cells{1} << 12);

    Fill() = default;
    // `nearEnd` means that the rectangle of cells reaches past an end of the frame's array.
    Fill(std::size_t place, Cells known, bool nearEnd)
        : bits(place << placeShift | (nearEnd ? nearEndBit : 0) | known) {}

    std::size_t place() const { return bits >> placeShift; }
    Cells known() const { return static_cast<Cells>(bits) & 0x1ffffff; }
    bool isNearEnd() const { return (bits & nearEndBit) != 0; }

private:
    static constexpr int placeShift = 26;
    static constexpr std::uint64_t nearEndBit = std::uint64_t{1} << 25;

    std::uint64_t bits;
};

// Replaces each pixel by the mean of its sources, weighted by inverse distance and summed row by row. No
// source may be one of the pixels to fill. `width` is the frame's.
void fillPixels(double* data, std::size_t width, std::span<const Fill> fills);

} // namespace PluginOmbrel
