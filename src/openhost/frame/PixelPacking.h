#pragma once

#include "zt/Types.h"

#include <cstddef>
#include <span>
#include <string>

namespace ombrel {

// How pixels are stored in 16 bits: value = scale * stored + offset. The stored numbers are whole ones from 0
// to 65534, or floating-point ones. NaN is stored as 65535, or as NaN.
struct PixelPacking {
    bool isHalf = false;
    double scale = 1;
    double offset = 0;
    // The stored numbers to which values beyond them are clipped.
    double least = 0;
    double greatest = 65534;

    // Stores the values from `low` to `high`, as 0 to 65534 or as 0 to 1. Throws UsageError unless they are
    // finite, in that order, and far enough apart that each stored number is a value of its own.
    static PixelPacking between(double low, double high, bool isHalf);
    // 16-bit floating-point numbers as they are.
    static PixelPacking plainHalf() { return {true, 1, 0, -65504, 65504}; }

    // The type as in options: "u16" or "f16".
    const char* typeName() const { return isHalf ? "f16" : "u16"; }
    zt::u16 storedNan() const { return isHalf ? 0x7e00 : 0xffff; }

    // Returns the number of values that were clipped.
    zt::u64 pack(std::span<const double> values, std::span<zt::u16> stored) const;
    void unpack(std::span<const zt::u16> stored, std::span<double> values) const;
};

} // namespace ombrel
