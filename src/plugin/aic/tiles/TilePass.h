#pragma once

#include <cstddef>
#include <cstdint>

// What the tile kernel takes into account of a high-pass kernel. The first two leave out taps of 0, subtract
// for taps of -1 and add without an eye on infinities: they are for passes whose every value is finite.
enum class TapShape {
    Cross,   // 3 x 3, the corners 0, the sides -1, any centre
    Ring,    // 3 x 3, all neighbours -1, any centre
    Square3, // any 3 x 3
    Square5, // any 5 x 5
};

// One pass of the tile kernel over a frame and one or two calibration images, all in TileOrder. For each
// candidate: quotient frame / image, times the masks, correlation with the taps, absolute value, and the sums
// of whole tiles - row by row, with no more than a few rows of quotients kept.
//
// Numbers and pointers alone: this header is part of sources that are compiled for one processor each, and a
// function in it could end up in the program compiled for the wrong one.
struct TilePass {
    static constexpr int maxCandidates = 2;

    int rows;
    int tile;        // side
    int tilesAcross; // whole tiles
    int tilesDown;
    int tilesUsed;  // across, with the one that the image's edge cuts off
    int groupTiles; // tiles of a group, see TileOrder
    std::ptrdiff_t rowSize;

    TapShape shape;
    const float* taps;          // column by column; Cross and Ring have the centre alone
    const std::int32_t* inside; // a row: all bits set where the filter's window lies inside the image

    const float* frame;
    const float* images[maxCandidates];
    int candidates;
    std::ptrdiff_t imageRowSize; // 0: one row that stands for all
    // Factors of the quotient: for each mask, a pointer for each row. Cross and Ring take one mask or none,
    // the others two.
    int masks;
    const float* const* maskRows[2];

    float* work;                // TileSums tells how much
    float* sums[maxCandidates]; // column of tiles after column of tiles
};
