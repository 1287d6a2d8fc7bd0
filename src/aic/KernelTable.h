#pragma once

#include "aic/Kernels.h"
#include "aic/PixelLoops.h"
#include "aic/TileKernel.h"

namespace {

constexpr Kernels kernelTable(const char* processor) {
    return {processor, laneCount, sumTiles,      multiply,        scale,
            divide,    clip,      magnitudeBits, stretchIntoBins, markOutliers};
}

} // namespace
