#pragma once

#include "base/FileDescriptor.h"
#include "frame/FrameRow.h"
#include "settings/CalibrationFacts.h"
#include "uncertainty/PixelErrors.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The flat fields of AdaptiveFF's grid, read from its heap one at a time. For several threads.
class GridFlatFields {
public:
    // `points` as the calibration stored them. With `midpoints` the filter also tries the means of
    // neighbours. Throws Error.
    GridFlatFields(const std::string& heap, std::vector<GridPointFacts> points, bool midpoints);

    // The flat field that a frame was divided by; nothing if the grid does not hold it. Throws Error.
    std::optional<FlatFieldFacts> at(const ScoredPoint& chosen) const;

private:
    struct Block {
        zt::u64 offset = 0; // of its pixels
        zt::u64 pixels = 0; // 1 for a hole
    };
    // The values of an axis next to a chosen one: twice the same, or those around a midpoint.
    using Around = std::array<std::size_t, 2>;

    Around around(std::size_t axis, double chosen) const;
    // The measured points whose mean is the flat field; without holes.
    std::vector<std::size_t> cornersAt(const ScoredPoint& chosen) const;
    void readBlocks();

    FileDescriptor file;
    std::string path;
    std::vector<GridPointFacts> facts;
    bool hasMidpoints;
    std::array<std::vector<float>, 3> axes; // V, T, E
    std::vector<Block> blocks;
};

} // namespace ombrel
