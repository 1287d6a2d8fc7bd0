#pragma once

#include "aic/OutlierRepair.h"
#include "aic/SearchRecord.h"
#include "image/AICImage.h"
#include "image/BinCounts.h"
#include "search/PrunedSearch.h"
#include "store/OrderedGrid.h"
#include "tiles/HighPass.h"
#include "tiles/Kernels.h"
#include "tiles/TileSums.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

// A reason for failing frames, found in pre-processing or in scoring.
inline constexpr const char* frameNotFinite =
    "frame has pixels that are NaN, infinite or too large; leave it out or repair it";

// Internal data of the engine: values computed once for all frames, and storage that frames reuse.
struct AICScratch {
    explicit AICScratch(const Kernels& kernels) : loops(kernels), outliers(kernels) {}

    const Kernels loops;
    bool ready = false; // the last Init succeeded
    HighPass highPass;
    bool badPixelsAreBinary = false;
    std::vector<bool> repaired; // by grid point: its image in the store is already repaired

    // For frames of the grid's size, if the kernel supports them.
    std::optional<TileSums> gridSums;
    OrderedGrid grid;

    // The same without tiles; the search's candidates are every prunedStep-th image.
    std::optional<BandScores> bands;
    std::optional<PrunedSearch> pruned;
    int prunedStep = 0;

    void releaseGrid() {
        gridSums.reset();
        grid = {};
        bands.reset();
        pruned.reset();
    }

    OutlierRepair outliers;
    BinCounts counts;
    AICImage image;                                    // the pre-processed frame
    std::vector<c_CalibrationImages::Position> points; // of a search, in the order of evaluation
    std::array<std::vector<float>, TilePass::maxCandidates> sums;
    SearchRecord record;
    std::string line; // of the log of quality values
};
