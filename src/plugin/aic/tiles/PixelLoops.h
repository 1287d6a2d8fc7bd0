#pragma once

#include <cstddef>
#include <cstdint>

// Parameters and results of the pixel loops; plain data only, see TilePass.h.

// A block of pixels inside an image; `rowDistance` is the distance between the starts of its rows.
struct PixelBlock {
    std::size_t cols;
    std::size_t rows;
    std::size_t rowDistance;
};

struct MagnitudeBits {
    std::int32_t lowest;
    std::int32_t highest;
};

// Stretched: (pixel - lowest) / range + offset. Its bin is the integer part of stretched / binWidth, or -1 if
// that is not below binCount.
struct StretchRule {
    float lowest;
    float range;
    float offset;
    float binWidth;
    float binCount;
};

struct NeighbourRows {
    const float* above;
    const float* row;
    const float* below;
};

// A pixel is an outlier above ratio * mean or below inverse * mean.
struct OutlierRule {
    float ratio;
    float inverse;
};

// Loops over pixels that the compiler vectorises for the processor that the including source is compiled for.
// Each pixel is computed separately, so the results do not depend on the vector width.
namespace {

inline void multiply(float* pixels, const float* factors, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        pixels[i] *= factors[i];
}

inline void scale(float* pixels, float factor, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        pixels[i] *= factor;
}

inline void divide(const float* dividends, const float* divisors, float* quotients, PixelBlock block) {
    for (std::size_t y = 0; y < block.rows; ++y)
        for (std::size_t i = y * block.rowDistance; i < y * block.rowDistance + block.cols; ++i)
            quotients[i] = dividends[i] / divisors[i];
}

inline void clip(float* pixels, float low, float high, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float raised = pixels[i] < low ? low : pixels[i];
        pixels[i] = raised > high ? high : raised;
    }
}

// The extremes of the magnitudes as the bits of floats: the bits sort like the magnitudes, with infinity and
// then NaN above all others.
inline MagnitudeBits magnitudeBits(const float* pixels, std::size_t count) {
    std::int32_t lowest = 0x7fffffff;
    std::int32_t highest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::int32_t bits;
        __builtin_memcpy(&bits, pixels + i, sizeof bits);
        bits &= 0x7fffffff;
        lowest = bits < lowest ? bits : lowest;
        highest = bits > highest ? bits : highest;
    }
    return {lowest, highest};
}

inline void stretchIntoBins(float* pixels, StretchRule rule, std::int32_t* bins, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float stretched = (pixels[i] - rule.lowest) / rule.range + rule.offset;
        const float bin = stretched / rule.binWidth;
        pixels[i] = stretched;
        bins[i] = bin >= 0 && bin < rule.binCount ? static_cast<std::int32_t>(bin) : -1;
    }
}

// Marks a row's pixels with 1 if they differ strongly from the mean of their eight neighbours, else with 0,
// and returns whether any does. The first and the last pixel are skipped. The pixel itself has weight 0 in
// the mean, which only matters if it is not finite.
inline bool markOutliers(const NeighbourRows& rows, OutlierRule rule, float* marks, std::size_t count) {
    constexpr float weight = 0.125f;
    std::int32_t any = 0;
    for (std::size_t x = 1; x + 1 < count; ++x) {
        float mean = 0;
        mean += rows.above[x - 1] * weight;
        mean += rows.row[x - 1] * weight;
        mean += rows.below[x - 1] * weight;
        mean += rows.above[x] * weight;
        mean += rows.row[x] * 0.0f;
        mean += rows.below[x] * weight;
        mean += rows.above[x + 1] * weight;
        mean += rows.row[x + 1] * weight;
        mean += rows.below[x + 1] * weight;
        const std::int32_t marked =
            (rows.row[x] > rule.ratio * mean ? 1 : 0) | (rule.inverse * mean > rows.row[x] ? 1 : 0);
        marks[x] = static_cast<float>(marked);
        any |= marked;
    }
    return any != 0;
}

} // namespace
