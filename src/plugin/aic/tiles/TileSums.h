#pragma once

#include "image/AICImage.h"
#include "tiles/HighPass.h"
#include "tiles/Kernels.h"
#include "tiles/TileOrder.h"

#include <optional>
#include <span>
#include <vector>

// The product of masks, row by row in TileOrder. Rows that are the same as the one above share its storage,
// so a mask of a few lines takes next to no memory and stays in the processor's first cache.
class MaskRows {
public:
    // Of images that have the order's size; 1 everywhere for none.
    MaskRows(const TileOrder& order, std::span<const AICImage* const> masks);

    const float* const* rows() const { return starts.data(); }
    // Whether all factors are 0 or 1.
    bool isBinary() const { return binary; }
    double largestMagnitude() const { return largest; } // NaN where a factor is NaN

private:
    std::vector<float, PixelAllocator<float>> factors;
    std::vector<const float*> starts;
    bool binary = true;
    double largest = 0;
};

template <typename T>
using AlignedVector = std::vector<T, PixelAllocator<T>>;

// The masks of the quality function; null where there is none.
struct QualityMasks {
    const AICImage* custom = nullptr;
    const AICImage* border = nullptr;
};

// Sums of high-pass energy over the whole tiles of candidates: of quotients of a frame and calibration
// images. Holds what all candidates share; nothing is allocated for one.
class TileSums {
public:
    // Kernels of 3 x 3 and 5 x 5, tiles that are not smaller than half of that, images of one tile at least.
    static bool serves(int cols, int rows, int tile, const HighPass& highPass);

    // The masks must have the order's size.
    TileSums(const TileOrder& order, const HighPass& highPass, const QualityMasks& masks,
             const Kernels& kernels);

    const TileOrder& order() const { return tileOrder; }

    // The frame of the candidates that follow; its pixels must stay.
    void setFrame(std::span<const float> pixels);
    // One or two candidates, order().tileCount() sums each: column of tiles after column of tiles.
    void sum(std::span<const OrderedImage> images, std::span<float* const> sums);
    // The frame itself as the candidate.
    void sumFrame(float* sums);

private:
    // Whether no value can become infinite or NaN on the way to the sums.
    bool staysFinite(const OrderedImage& image) const;
    void run(std::span<const OrderedImage> images, std::span<float* const> sums, bool finite);
    const float* orderedFrame(bool masked);

    TileOrder tileOrder;
    HighPass taps;
    Kernels loops;
    float centre;
    MaskRows customRows;
    MaskRows borderRows;
    MaskRows productRows;
    AlignedVector<std::int32_t> inside;
    AlignedVector<float> ones; // a row
    AlignedVector<float> work;

    struct OrderedFrame {
        AlignedVector<float> pixels;
        bool current = false;
    };
    std::span<const float> frame;
    MagnitudeBits frameMagnitudes = {};
    OrderedFrame plainFrame;
    OrderedFrame maskedFrame;
};
