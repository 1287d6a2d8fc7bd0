#pragma once

#include "image/AICImage.h"
#include "image/PixelAllocator.h"
#include "tiles/HighPass.h"
#include "tiles/Kernels.h"
#include "tiles/MaskRows.h"
#include "tiles/OrderedImage.h"
#include "tiles/TileOrder.h"

#include <optional>
#include <span>
#include <vector>

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
