#pragma once

#include "tiles/PixelLoops.h"

#include <cstddef>

// A look at a calibration image in TileOrder, every pixel of it a normal number above 0, infinite or NaN.
struct OrderedImage {
    const float* pixels = nullptr;
    std::ptrdiff_t rowSize = 0; // 0: one row that stands for all
    MagnitudeBits magnitudes = {};
};

// The order of pixels that the tile kernel works in: neighbouring vector lanes are the same pixel of
// neighbouring tiles. The tiles across a row of the image are taken in groups, and each row is stored as
//
//   | group 0                                                  | group 1 ...
//   | pixel 0 of each tile | pixel 1 of each tile | ... tile-1 | pixel 0 of each tile ...
//
// The columns that do not fill a tile are a tile too, here. Places without a pixel hold a padding.
struct TileOrder {
    TileOrder() = default;
    // The tile must be at least 1, and the image not narrower.
    TileOrder(int cols, int rows, int tile);

    int cols = 0;
    int rows = 0;
    int tile = 1;        // side
    int tilesAcross = 0; // whole tiles
    int tilesDown = 0;
    int tilesUsed = 0;  // across, with the one that the image's edge cuts off
    int groupTiles = 4; // 4, 8 or 16

    std::size_t tileCount() const {
        return static_cast<std::size_t>(tilesAcross) * static_cast<std::size_t>(tilesDown);
    }
    std::size_t rowSize() const;
    std::size_t size() const { return rowSize() * static_cast<std::size_t>(rows); }

    // The place in a row of the pixel in column x.
    std::size_t place(int x) const;
    // Puts a row of `cols` pixels into order; padding is left as it is.
    void arrangeRow(const float* pixels, float* ordered) const;

    bool operator==(const TileOrder&) const = default;
};
