#pragma once

#include "tiles/Lanes.h"

#include <cstddef>

// The filter of the tile kernel: how a filtered value comes of its window, and goes into the sums of a tile.
namespace {

// Doubles for the lanes of even and of odd number. Where all values are finite, the bits of a float moved to
// the place of a double's make that value times 2^-896, for denormals too: sums have the same bits, but for
// the exponent. The sign bit goes.
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
        for (int i = 0; i < laneCount / 2; ++i) {
            values[i] = __builtin_fabs(static_cast<double>(x[2 * i + First]));
        }
        return values;
    }
    static Doubles even(Floats x) { return everySecond<0>(x); }
    static Doubles odd(Floats x) { return everySecond<1>(x); }
};

// The filtered value, up to its sign. `rows` point to the pixel in each row of the window, and `Step` is the
// distance of its right neighbour. Each adds in the order of the definition: column by column, from the left
// and the top.
struct CrossTaps : ShiftedBits {
    static constexpr int half = 1;
    explicit CrossTaps(const float* taps) : centre(all(taps[0])) {}
    template <int Step>
    Floats at(const float* const* rows, std::ptrdiff_t i) const {
        const Floats before = load(rows[1] + i - Step) + load(rows[0] + i);
        return load(rows[1] + i) * centre - before - load(rows[2] + i) - load(rows[1] + i + Step);
    }
    Floats centre;
};

struct RingTaps : ShiftedBits {
    static constexpr int half = 1;
    explicit RingTaps(const float* taps) : centre(all(taps[0])) {}
    template <int Step>
    Floats at(const float* const* rows, std::ptrdiff_t i) const {
        const Floats before = load(rows[0] + i - Step) + load(rows[1] + i - Step) + load(rows[2] + i - Step) +
                              load(rows[0] + i);
        return load(rows[1] + i) * centre - before - load(rows[2] + i) - load(rows[0] + i + Step) -
               load(rows[1] + i + Step) - load(rows[2] + i + Step);
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
        for (int x = 0; x < side; ++x) {
            for (int y = 0; y < side; ++y) {
                sum += load(rows[y] + i + (x - Half) * Step) * taps[x * side + y];
            }
        }
        return sum;
    }
    const float* taps;
};

} // namespace
