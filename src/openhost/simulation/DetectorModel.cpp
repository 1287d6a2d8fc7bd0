#include "simulation/DetectorModel.h"

#include "simulation/Scene.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ombrel::simulation {

namespace {

constexpr double gainSpread = 0.03;
constexpr double edgeGain = 1.6; // pixels at a chip's edge collect from the gap as well
constexpr std::size_t chipSide = 128;
constexpr double waveDepth = 0.15;
constexpr double waveBias = 150;      // volts at which the waves have that depth
constexpr double thresholdLoss = 0.6; // part of the photons lost when the threshold reaches the energy
constexpr double thresholdSpread = 0.35;
constexpr double collectionSpread = 0.08; // of the charge lost or won, when the bias is half of waveBias
constexpr double thicknessSpread = 0.15;  // likewise, when the energy is half of plainEnergy
constexpr double plainEnergy = 25;        // keV
constexpr double faultsPerPixel = 0.0005; // dead, and as many hot

bool isChipEdge(std::size_t position, std::size_t length) {
    const std::size_t within = position % chipSide;
    const bool atStart = within == 0 && position != 0;
    const bool atEnd = within == chipSide - 1 && position != length - 1;
    return atStart || atEnd;
}

double waveAt(std::size_t x, std::size_t y) {
    const double angle = 2 * std::numbers::pi;
    const double radius = std::hypot(static_cast<double>(x) + 40, static_cast<double>(y) + 90);
    return waveDepth * std::sin(angle * radius / 37) * std::cos(angle * static_cast<double>(y) / 190);
}

} // namespace

DetectorModel::DetectorModel(std::size_t width, std::size_t height, std::uint64_t seed)
    : columns(width), rows(height) {
    Random random(seed);
    for (std::size_t y = 0; y < rows; ++y) {
        for (std::size_t x = 0; x < columns; ++x) {
            const double edge =
                (isChipEdge(x, columns) ? edgeGain : 1) * (isChipEdge(y, rows) ? edgeGain : 1);
            gain.push_back((1 + gainSpread * random.gaussian()) * edge);
            wave.push_back(waveAt(x, y));
            thresholdScatter.push_back(random.gaussian());
        }
    }
    spoilPixels(seed + 1);
    scatterSensor(seed + 2);
}

void DetectorModel::scatterSensor(std::uint64_t seed) {
    Random random(seed);
    for (std::size_t pixel = 0; pixel < pixelCount(); ++pixel) {
        collectionScatter.push_back(random.gaussian());
        thicknessScatter.push_back(random.gaussian());
    }
}

void DetectorModel::spoilPixels(std::uint64_t seed) {
    Random random(seed);
    for (std::size_t pixel = 0; pixel < pixelCount(); ++pixel) {
        const double lot = random.uniform();
        if (lot < faultsPerPixel) {
            dead.push_back(pixel);
            gain[pixel] = 0;
        } else if (lot < 2 * faultsPerPixel) {
            hot.push_back(pixel);
        }
    }
}

std::vector<double> DetectorModel::response(const OperatingPoint& point) const {
    const double depth = waveBias / point.bias;
    const double loss = thresholdLoss * point.threshold / point.energy;
    std::vector<double> map(pixelCount());
    for (std::size_t i = 0; i < map.size(); ++i) {
        const double passed = 1 - loss * (1 + thresholdSpread * thresholdScatter[i]);
        const double collected = 1 + collectionSpread * collectionScatter[i] * (depth - 1);
        const double stopped = 1 + thicknessSpread * thicknessScatter[i] * (plainEnergy / point.energy - 1);
        map[i] = gain[i] * (1 + depth * wave[i]) * std::clamp(passed, 0.05, 1.0) * collected * stopped;
    }
    return map;
}

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
