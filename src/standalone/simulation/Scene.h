#pragma once

#include <cstddef>
#include <vector>

namespace ombrel::simulation {

// What stands before the detector. Maps are row-major and cover width x height pixels.

// Intensity of the open beam, 1 in the middle and falling off towards the corners.
std::vector<double> beamProfile(std::size_t width, std::size_t height);

// Part of the beam that passes the sample, 1 where it is open. The sample is a rod, a ring, a wedge and a
// plate of fine holes; `shift` moves it to the right, in frame widths.
std::vector<double> sampleTransmission(std::size_t width, std::size_t height, double shift);

} // namespace ombrel::simulation
