#pragma once

#include <cstddef>
#include <cstdint>

// What the loops over pixels are told and tell. Numbers and pointers alone: see TilePass.h.

// Rows of pixels inside an image, which all start at the first of them.
struct PixelBlock {
    std::size_t cols;
    std::size_t rows;
    std::size_t rowDistance;
};

struct MagnitudeBits {
    std::int32_t lowest;
    std::int32_t highest;
};

// Stretched: (pixel - lowest) / range + offset. Its bin is the whole part of stretched / binWidth, or -1
// where that is not below binCount.
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

// A pixel stands out above ratio * mean and below inverse * mean.
struct OutlierRule {
    float ratio;
    float inverse;
};
