#pragma once

#include "aic/CalibrationImages.h"

// The walk along an axis and the interpolation once more, plain and slow: one entry at a time, with a
// counter, straight from their definition. The store is held against them.
namespace plain {

struct Walk {
    c_CalibrationImages& store;
    bool includeInterpolated;

    // The entry found from `start` in the direction +1 or -1, or -1.
    int neighbour(int start, c_CalibrationImages::ParamType axis, int direction) const;
    // Fills one entry if it can.
    void interpolate(int point) const;

private:
    float& parameter(int point, c_CalibrationImages::ParamType axis) const;
};

// Three passes over the grid, the first from images of the file alone.
void interpolateGrid(c_CalibrationImages& store);

} // namespace plain
