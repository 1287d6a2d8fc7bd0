#pragma once

#include "tiles/PixelRules.h"

#include <cstddef>

// A look at a calibration image in TileOrder, every pixel of it a normal number above 0, infinite or NaN.
struct OrderedImage {
    const float* pixels = nullptr;
    std::ptrdiff_t rowSize = 0; // 0: one row that stands for all
    MagnitudeBits magnitudes = {};
};
