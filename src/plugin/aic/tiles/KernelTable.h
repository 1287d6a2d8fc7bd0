#pragma once

#include "tiles/Kernels.h"
#include "tiles/PixelLoops.h"
#include "tiles/TileKernel.h"

namespace {

constexpr Kernels kernelTable(const char* processor) {
    return {processor, laneCount, sumTiles,      multiply,        scale,
            divide,    clip,      magnitudeBits, stretchIntoBins, markOutliers};
}

} // namespace
