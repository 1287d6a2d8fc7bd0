#pragma once

#include "image/AICImage.h"
#include "image/PixelAllocator.h"
#include "tiles/TileOrder.h"

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
