#pragma once

#include "simulation/DetectorModel.h"
#include "simulation/Random.h"
#include "zt/Types.h"

#include <span>
#include <vector>

namespace ombrel::simulation {

// Takes pictures with a simulated detector: expected photons in, counts with photon statistics out.
class Exposure {
public:
    Exposure(const DetectorModel& model, std::uint64_t seed) : detector(model), noise(seed) {}

    // `photons`: photons that arrive at each pixel; `response` as the model gives it; `flux`: photons a pixel
    // of the open beam, by which hot pixels count.
    std::vector<zt::u32> expose(std::span<const double> photons, std::span<const double> response,
                                double flux);

private:
    const DetectorModel& detector;
    Random noise;
};

// Photons that arrive at each pixel: flux x beam x transmission, the last being 1 when empty.
std::vector<double> arrivingPhotons(double flux, std::span<const double> beam,
                                    std::span<const double> transmission);

} // namespace ombrel::simulation
