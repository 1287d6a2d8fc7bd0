#pragma once

#include "simulation/DetectorModel.h"

#include <cstddef>
#include <vector>

namespace ombrel::simulation {

// The settings at which the pictures for the adaptive filter are taken.

// Every combination of `steps` values of bias, threshold and energy, energy running fastest.
std::vector<OperatingPoint> gridPoints(std::size_t steps);

// Midway between neighbours on all three axes.
std::vector<OperatingPoint> gridMidpoints(std::size_t steps);

// A way through the grid, as supplies and temperature drift: from low to high bias and threshold while the
// energy falls.
std::vector<OperatingPoint> gridDrift(std::size_t frames);

} // namespace ombrel::simulation
