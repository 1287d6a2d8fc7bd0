#pragma once

#include "tiles/PixelLoops.h"
#include "tiles/TileKernel.h"
#include "tiles/TilePass.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

// The smallest normal float. What is below it in a calibration image is no measurement: it counts as 1 there,
// so that a quotient keeps the frame's value.
inline constexpr float smallestDivisor = std::numeric_limits<float>::min();

inline float repairedPixel(float pixel) {
    return pixel < smallestDivisor ? 1.0f : pixel;
}

// The engine's inner loops, compiled for one kind of processor; what each does is told where it is written,
// in TileKernel.h and PixelLoops.h. The results have the same bits for all of them.
struct Kernels {
    const char* processor;
    int lanes; // floats in a vector
    void (*sumTiles)(const TilePass& pass);
    void (*multiply)(float* pixels, const float* factors, std::size_t count);
    void (*scale)(float* pixels, float factor, std::size_t count);
    void (*divide)(const float* dividends, const float* divisors, float* quotients, PixelBlock block);
    void (*clip)(float* pixels, float low, float high, std::size_t count);
    MagnitudeBits (*magnitudeBits)(const float* pixels, std::size_t count);
    void (*stretchIntoBins)(float* pixels, StretchRule rule, std::int32_t* bins, std::size_t count);
    bool (*markOutliers)(const NeighbourRows& rows, OutlierRule rule, float* marks, std::size_t count);
};

// Those that run on this processor, the widest first; never empty.
std::span<const Kernels* const> runnableKernels();

// The widest of them.
const Kernels& bestKernels();

// These, or the widest of the others with vectors of at most so many floats; 4 or more are asked for.
const Kernels& narrowedKernels(const Kernels& kernels, int lanes);

namespace {

constexpr Kernels kernelTable(const char* processor) {
    return {processor, laneCount, sumTiles,      multiply,        scale,
            divide,    clip,      magnitudeBits, stretchIntoBins, markOutliers};
}

} // namespace
