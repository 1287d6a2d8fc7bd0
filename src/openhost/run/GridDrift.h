#pragma once

#include "frame/FrameRow.h"
#include "run/SelectionLogs.h"
#include "zt/Types.h"

#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The sides of the grid beyond which the best flat field of a frame lies, by about two steps or more: the
// winner is at the end of an axis, and the scores of its line on that axis point further out. An axis of two
// values shows nothing.
GridSides sidesOutside(std::span<const QualityValue> candidates);

// Collects the frames outside of the grid for a message at the end of a run.
class DriftNotes {
public:
    void add(zt::u64 frame, GridSides sides);
    // In one line; empty if all frames lie within the grid.
    std::string text() const;

private:
    std::vector<zt::u64> frames;
    GridSides all = 0;
};

} // namespace ombrel
