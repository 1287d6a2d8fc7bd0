#pragma once

#include "aic/OutlierRepair.h"
#include "image/AICImage.h"
#include "image/BinCounts.h"
#include "store/OrderedGrid.h"
#include "tiles/HighPass.h"
#include "tiles/Kernels.h"
#include "tiles/TileSums.h"

#include <array>
#include <optional>
#include <vector>

// Why a frame fails, where pre-processing finds out and where the score does.
inline constexpr const char* frameNotFinite =
    "frame has pixels that are NaN, infinite or too large; leave it out or repair it";

// What the engine keeps for itself: what is worked out once for all frames, and storage that frames use
// again.
struct AICScratch {
    explicit AICScratch(const Kernels& kernels) : loops(kernels), outliers(kernels) {}

    const Kernels loops;
    bool ready = false; // the last Init succeeded
    HighPass highPass;
    bool badPixelsAreBinary = false;
    std::vector<bool> repaired; // by grid point: its image in the store has no pixel left to repair

    // For frames of the grid's size, where the kernel serves.
    std::optional<TileSums> gridSums;
    OrderedGrid grid;

    void releaseGrid() {
        gridSums.reset();
        grid = {};
    }

    OutlierRepair outliers;
    BinCounts counts;
    AICImage image;                                    // the pre-processed frame
    std::vector<c_CalibrationImages::Position> points; // of a search, in the order of its walk
    std::array<std::vector<float>, TilePass::maxCandidates> sums;
};
