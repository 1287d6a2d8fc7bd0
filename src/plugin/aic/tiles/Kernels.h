#pragma once

#include "tiles/BandKernel.h"
#include "tiles/PixelLoops.h"
#include "tiles/TileKernel.h"
#include "tiles/TilePass.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

// The smallest normal float. A smaller pixel in a calibration image is not a valid measurement: it counts as
// 1, so that the quotient keeps the frame's value.
inline constexpr float smallestDivisor = std::numeric_limits<float>::min();

inline float repairedPixel(float pixel) {
    return pixel < smallestDivisor ? 1.0f : pixel;
}

// The engine's inner loops, compiled for one kind of processor; TileKernel.h, BandKernel.h and PixelLoops.h
// describe each of them. The results have the same bits for all processors.
struct Kernels {
    const char* processor;
    int lanes; // floats in a vector
    void (*sumTiles)(const TilePass& pass);
    double (*sumBand)(const BandPass& pass);
    double (*leastSumOfBand)(const BandPass& pass);
    void (*multiply)(float* pixels, const float* factors, std::size_t count);
    void (*scale)(float* pixels, float factor, std::size_t count);
    void (*divide)(const float* dividends, const float* divisors, float* quotients, PixelBlock block);
    void (*clip)(float* pixels, float low, float high, std::size_t count);
    MagnitudeBits (*magnitudeBits)(const float* pixels, std::size_t count);
    void (*stretchIntoBins)(float* pixels, StretchRule rule, std::int32_t* bins, std::size_t count);
    bool (*markOutliers)(const NeighbourRows& rows, OutlierRule rule, float* marks, std::size_t count);
};

// The kernels that run on this processor, the widest first; never empty.
std::span<const Kernels* const> runnableKernels();

// The widest of them.
const Kernels& bestKernels();

// Returns the given kernels, or the widest others with vectors of at most `lanes` floats, which must be 4 or
// more.
const Kernels& narrowedKernels(const Kernels& kernels, int lanes);

namespace {

constexpr Kernels kernelTable(const char* processor) {
    return {processor, laneCount, sumTiles, sumBand,       leastSumOfBand,  multiply,
            scale,     divide,    clip,     magnitudeBits, stretchIntoBins, markOutliers};
}

} // namespace
