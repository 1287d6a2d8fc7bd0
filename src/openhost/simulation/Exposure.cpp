#include "simulation/Exposure.h"

#include <algorithm>

namespace ombrel::simulation {

std::vector<zt::u32> Exposure::expose(std::span<const double> photons, std::span<const double> response,
                                      double flux) {
    std::vector<double> means(photons.size());
    std::ranges::transform(photons, response, means.begin(), std::multiplies());
    for (const std::size_t pixel : detector.hotPixels())
        means[pixel] = DetectorModel::hotCounts(flux);
    std::vector<zt::u32> counts(means.size());
    std::ranges::transform(means, counts.begin(),
                           [&](double mean) { return static_cast<zt::u32>(noise.poisson(mean)); });
    return counts;
}

std::vector<double> arrivingPhotons(double flux, std::span<const double> beam,
                                    std::span<const double> transmission) {
    std::vector<double> photons(beam.size());
    for (std::size_t i = 0; i < photons.size(); ++i)
        photons[i] = flux * beam[i] * (transmission.empty() ? 1 : transmission[i]);
    return photons;
}

} // namespace ombrel::simulation
