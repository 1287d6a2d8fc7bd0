#pragma once

#include "tiles/Lanes.h"

#include <cstddef>
#include <cstdint>

// The filter of the tile kernel: computes a filtered value from its window and converts it for the sums of a
// tile.
namespace {

// Doubles from the even and from the odd lanes. If all values are finite, shifting the bits of a float to the
// position of a double's scales the value by 2^-896, including denormals: the sums have the same bits except
// for the exponent. The sign bit is dropped.
struct ShiftedBits {
    static constexpr double scale = 0x1p+896;
    static Doubles even(Floats x) {
        return reinterpret_cast<Doubles>((reinterpret_cast<Words>(x) & 0x7fffffffU) << 29);
    }
    static Doubles odd(Floats x) {
        return reinterpret_cast<Doubles>((reinterpret_cast<Words>(x) & 0x7fffffff00000000U) >> 3);
    }
};

struct ConvertedValues {
    static constexpr double scale = 1;
    template <int First>
    static Doubles everySecond(Floats x) {
        Doubles values;
        for (int i = 0; i < laneCount / 2; ++i)
            values[i] = __builtin_fabs(static_cast<double>(x[2 * i + First]));
        return values;
    }
    static Doubles even(Floats x) { return everySecond<0>(x); }
    static Doubles odd(Floats x) { return everySecond<1>(x); }
};

// The filtered value, up to its sign. `pixel(x, y)` is the neighbour in that distance. Each adds in the order
// of the definition: column by column, starting at the left and the top.
struct CrossTaps : ShiftedBits {
    static constexpr int half = 1;
    explicit CrossTaps(const float* taps) : centre(all(taps[0])) {}
    template <class Pixel>
    Floats of(Pixel pixel) const {
        const Floats before = pixel(-1, 0) + pixel(0, -1);
        return pixel(0, 0) * centre - before - pixel(0, 1) - pixel(1, 0);
    }
    // `rows` point to the pixel in each row of the window, and `Step` is the distance to its right neighbour.
    template <int Step>
    Floats at(const float* const* rows, std::ptrdiff_t i) const {
        return of([&](int x, int y) { return load(rows[1 + y] + i + x * Step); });
    }
    Floats centre;
};

struct RingTaps : ShiftedBits {
    static constexpr int half = 1;
    explicit RingTaps(const float* taps) : centre(all(taps[0])) {}
    template <class Pixel>
    Floats of(Pixel pixel) const {
        const Floats before = pixel(-1, -1) + pixel(-1, 0) + pixel(-1, 1) + pixel(0, -1);
        return pixel(0, 0) * centre - before - pixel(0, 1) - pixel(1, -1) - pixel(1, 0) - pixel(1, 1);
    }
    template <int Step>
    Floats at(const float* const* rows, std::ptrdiff_t i) const {
        return of([&](int x, int y) { return load(rows[1 + y] + i + x * Step); });
    }
    Floats centre;
};

template <int Half>
struct SquareTaps : ConvertedValues {
    static constexpr int half = Half;
    explicit SquareTaps(const float* columnByColumn) : taps(columnByColumn) {}
    template <int Step>
    Floats at(const float* const* rows, std::ptrdiff_t i) const {
        constexpr int side = 2 * Half + 1;
        Floats sum = {};
        for (int x = 0; x < side; ++x)
            for (int y = 0; y < side; ++y)
                sum += load(rows[y] + i + (x - Half) * Step) * taps[x * side + y];
        return sum;
    }
    const float* taps;
};

} // namespace

// The shapes of a high-pass kernel that the tile kernel distinguishes. The first two omit taps of 0, subtract
// for taps of -1 and ignore infinities: they are for passes in which every value is finite.
enum class TapShape {
    Cross,   // 3 x 3, the corners 0, the sides -1, any centre
    Ring,    // 3 x 3, all neighbours -1, any centre
    Square3, // any 3 x 3
    Square5, // any 5 x 5
};

// One pass of the tile kernel over a frame and one or two calibration images, all in TileOrder. For each
// candidate: quotient frame / image, times the masks, correlation with the taps, absolute value, and the sums
// of whole tiles; it runs row by row, with only a few rows of quotients in memory.
//
// Plain data only: this header is part of sources that are compiled for one processor each, and the linker
// could pick a function in it that was compiled for the wrong one.
struct TilePass {
    static constexpr int maxCandidates = 2;

    int rows;
    int tile;        // side
    int tilesAcross; // whole tiles
    int tilesDown;
    int tilesUsed;  // across, including the tile that the image's edge cuts off
    int groupTiles; // number of tiles in a group, see TileOrder
    std::ptrdiff_t rowSize;

    TapShape shape;
    const float* taps;          // column by column; only the centre for Cross and Ring
    const std::int32_t* inside; // a row: all bits set where the filter's window is inside the image

    const float* frame;
    const float* images[maxCandidates];
    int candidates;
    std::ptrdiff_t imageRowSize; // 0: one row, used for all rows
    // Factors of the quotient: for each mask, a pointer for each row. Cross and Ring take one mask or none,
    // the others take two.
    int masks;
    const float* const* maskRows[2];

    float* work;                // TileSums computes its size
    float* sums[maxCandidates]; // one column of tiles after the other
};
