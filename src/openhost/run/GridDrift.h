#pragma once

#include "frame/FrameRow.h"
#include "run/GridLines.h"
#include "zt/IPrivateFilters.h"
#include "zt/Types.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ombrel {

// The two candidates with the least scores of a search, or IGridScores::none.
struct TwoBest {
    std::size_t best;
    std::size_t next;

    explicit TwoBest(const IGridScores& scores) : best(scores.best()), next(scores.secondBest()) {}
};

// The sides of the grid beyond which the best flat field of a frame lies, by about two steps or more: the
// winner is at the end of an axis, and the scores of its line on that axis point further out. An axis of two
// values shows nothing. `lines` are those of the candidates. Few scores are asked for, since each may cost a
// pass over the frame.
GridSides sidesOutside(const GridLines& lines, IGridScores& scores, const TwoBest& ranked);

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
