#pragma once

#include "frame/Frame.h"
#include "frame/Statistics.h"
#include "inspection/FrameMarks.h"
#include "zt/Types.h"

#include <cstddef>
#include <optional>
#include <type_traits>
#include <vector>

namespace ombrel {

// Divides frames into tiles of nearly equal size that cover all pixels: about 32 x 32 pixels, less in small
// frames so that there are enough of them.
class TileGrid {
public:
    TileGrid(zt::u32 frameWidth, zt::u32 frameHeight);

    std::size_t columns() const { return xEdges.size() - 1; }
    std::size_t rows() const { return yEdges.size() - 1; }
    std::size_t count() const { return columns() * rows(); }
    // Tiles are counted row by row.
    Region region(std::size_t tile) const;
    // The middle of the tile; -1 and 1 are the borders of the frame.
    double x(std::size_t tile) const;
    double y(std::size_t tile) const;

    // The pixels where columns (rows) of tiles begin, and the end of the last.
    const std::vector<zt::u32>& columnEdges() const { return xEdges; }
    const std::vector<zt::u32>& rowEdges() const { return yEdges; }

    // Joins 2 x 2 tiles; a last single column or row joins its neighbour.
    TileGrid coarser() const;
    // The sums of the coarser grid's tiles from those of this grid's.
    std::vector<double> coarserSums(const std::vector<double>& sums) const;

private:
    TileGrid() = default;

    std::vector<zt::u32> xEdges;
    std::vector<zt::u32> yEdges;
};

// Whether a pixel was measured: finite, and not marked as FrameMarks detects it by itself.
template <typename T>
bool isCounted(T pixel) {
    if constexpr (std::is_floating_point_v<T>)
        return pixel - pixel == 0;
    else
        return sizeof(T) < 4 || !isMark(pixel, true, true);
}

// What one pass over the pixels of a frame gives. Pixels that do not count are 0 in the sums.
struct TileFigures {
    double level = 0; // mean of the counted pixels; NaN without any
    zt::u64 zero = 0;
    zt::u64 saturated = 0;
    zt::u64 notFinite = 0;
    zt::u64 hash = 0; // of the pixels
    std::vector<double> sums;
};

// `saturation` is the lowest value that counts as saturated; without it, the greatest value of 8 and 16 bit
// integers.
TileFigures tileFiguresOf(const Frame& frame, const TileGrid& grid, std::optional<double> saturation);

// The value from which pixels of that type count as saturated; infinite if no value does.
double saturationOf(zt::u8 pixelType, std::optional<double> saturation);

} // namespace ombrel
