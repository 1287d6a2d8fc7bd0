#pragma once

#include "tiles/PixelLoops.h"

#include <cstddef>

// A view of a calibration image in TileOrder; every pixel is a normal number above 0, infinite or NaN.
struct OrderedImage {
    const float* pixels = nullptr;
    std::ptrdiff_t rowSize = 0; // 0: one row, used for all rows
    MagnitudeBits magnitudes = {};
};

// The pixel order of the tile kernel: neighbouring vector lanes are the same pixel of neighbouring tiles. The
// tiles across a row of the image are divided into groups, and each row is stored as
//
//   | group 0                                                  | group 1 ...
//   | pixel 0 of each tile | pixel 1 of each tile | ... tile-1 | pixel 0 of each tile ...
//
// Columns that do not fill a tile form a tile here too. Positions without a pixel contain padding.
struct TileOrder {
    TileOrder() = default;
    // The tile must be at least 1, and the image not narrower.
    TileOrder(int cols, int rows, int tile);

    int cols = 0;
    int rows = 0;
    int tile = 1;        // side
    int tilesAcross = 0; // whole tiles
    int tilesDown = 0;
    int tilesUsed = 0;  // across, including the tile that the image's edge cuts off
    int groupTiles = 4; // 4, 8 or 16

    std::size_t tileCount() const {
        return static_cast<std::size_t>(tilesAcross) * static_cast<std::size_t>(tilesDown);
    }
    std::size_t rowSize() const;
    std::size_t size() const { return rowSize() * static_cast<std::size_t>(rows); }

    // The index within a row of the pixel in column x.
    std::size_t place(int x) const;
    // Stores a row of `cols` pixels in order; padding is unchanged.
    void arrangeRow(const float* pixels, float* ordered) const;

    bool operator==(const TileOrder&) const = default;
};
