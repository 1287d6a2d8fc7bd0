#pragma once

#include "image/AICImage.h"
#include "tiles/HighPass.h"
#include "tiles/Kernels.h"
#include "tiles/TileOrder.h"

#include <optional>
#include <span>
#include <vector>

// The product of masks, row by row in TileOrder. A row that equals the one above shares its storage, so a
// mask of a few lines needs little memory and stays in the first-level cache.
class MaskRows {
public:
    // The masks must have the order's size; without masks the factors are 1.
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

// The masks of the quality function; null for an absent mask.
struct QualityMasks {
    const AICImage* custom = nullptr;
    const AICImage* border = nullptr;
};

// Sums of high-pass energy over the whole tiles of candidates, which are quotients of a frame and calibration
// images. Keeps everything that candidates share; nothing is allocated for a single one.
class TileSums {
public:
    // Supports kernels of 3 x 3 and 5 x 5, tiles of at least half of that, and images of at least one tile.
    static bool serves(int cols, int rows, int tile, const HighPass& highPass);

    // The masks must have the order's size.
    TileSums(const TileOrder& order, const HighPass& highPass, const QualityMasks& masks,
             const Kernels& kernels);

    const TileOrder& order() const { return tileOrder; }

    // Sets the frame of the following candidates; its pixels must stay valid.
    void setFrame(std::span<const float> pixels);
    // For one or two candidates, order().tileCount() sums each: one column of tiles after the other.
    void sum(std::span<const OrderedImage> images, std::span<float* const> sums);
    // Scores the frame itself as the candidate.
    void sumFrame(float* sums);

private:
    // Whether no value can become infinite or NaN before the sums.
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
