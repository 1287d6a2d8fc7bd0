#pragma once

#include "simulation/DetectorModel.h"
#include "simulation/SimulatedSet.h"

#include <cstddef>
#include <vector>

namespace ombrel::simulation {

// The settings of the pictures for the adaptive filter.

// Every combination of `steps` values of bias, threshold and energy, energy running fastest.
std::vector<OperatingPoint> gridPoints(std::size_t steps);

// The points halfway between neighbours on all three axes.
std::vector<OperatingPoint> gridMidpoints(std::size_t steps);

// A path through the grid, as supplies and temperature drift: from low to high bias and threshold while the
// energy falls.
std::vector<OperatingPoint> gridDrift(std::size_t frames);

// Data to calibrate and test the adaptive filter. The axes are bias (V), threshold (T) and energy (E), each
// with plan.gridSteps values; if that is 0, the set lacks this part.
//
//   grid.csv            the table of the flat fields: v, t, e, file
//   grid-flats.h5       u32, a few frames of the open beam for each point, 2 million counts a pixel in all
//   on-grid.h5, midpoints.h5, drifting.h5
//                       u16, 20,000 counts a pixel, a sample and a nearly black block in the beam: at points
//                       of the grid, midway between neighbours on all axes, and on a way through the grid
//   grid-frames.csv     at which settings each of these was taken
//   open-area.h5        u16, 1 for good pixels that see the open beam in all of them, else 0
//   compensation-mask.h5  u16, 0 for dead and hot pixels and for a block in a corner, which stays black
class GridPart : public SetPart {
public:
    std::vector<std::string> files(const SetPlan& plan) const override;
    zt::u64 images(const SetPlan& plan) const override;
    void write(const SetContext& context) const override;
};

} // namespace ombrel::simulation
