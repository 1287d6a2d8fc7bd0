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

constexpr double flicker = 0.1;
constexpr double burst = 0.3;
constexpr double extraNoise = 3; // variance over that of the counts, in addition to it

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

DetectorModel::DetectorModel(std::size_t width, std::size_t height, std::uint64_t seed,
                             const FaultPlan& faults)
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
    if (!faults.isEmpty())
        addFaults(seed + 3, faults);
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

void DetectorModel::addFaults(std::uint64_t seed, const FaultPlan& faults) {
    const std::size_t firstGap = (columns - std::min<std::size_t>(columns, faults.gapColumns)) / 2;
    for (std::size_t pixel = 0; pixel < pixelCount(); ++pixel)
        if (pixel % columns >= firstGap && pixel % columns < firstGap + faults.gapColumns) {
            gap.push_back(pixel);
            gain[pixel] = 0;
        }
    std::vector<bool> taken(pixelCount());
    for (const auto* spoilt : {&dead, &hot, &gap})
        for (const std::size_t pixel : *spoilt)
            taken[pixel] = true;
    std::erase_if(
        dead, [&](std::size_t pixel) { return std::ranges::binary_search(gap, pixel); });
    std::erase_if(hot, [&](std::size_t pixel) { return std::ranges::binary_search(gap, pixel); });
    auto left = static_cast<std::size_t>(std::ranges::count(taken, false));
    Random random(seed);
    const auto choose = [&](std::vector<std::size_t>& chosen, zt::u32 wanted) {
        for (; chosen.size() < wanted && left > 0; --left) {
            std::size_t pixel = 0;
            do
                pixel = static_cast<std::size_t>(random.uniform() * static_cast<double>(pixelCount()));
            while (taken[pixel]);
            taken[pixel] = true;
            chosen.push_back(pixel);
        }
        std::ranges::sort(chosen);
    };
    choose(noisy, faults.noisy);
    choose(flickering, faults.flickering);
    choose(bursting, faults.bursting);
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

void Exposure::beginStack(std::size_t pictures) {
    bursts.clear();
    for (std::size_t i = 0; i < detector.burstingPixels().size(); ++i)
        bursts.push_back(static_cast<std::size_t>(faultNoise.uniform() * static_cast<double>(pictures)));
}

void Exposure::spoilMeans(std::vector<double>& means) {
    for (const std::size_t pixel : detector.flickeringPixels())
        if (faultNoise.uniform() < 0.5)
            means[pixel] *= 1 + flicker;
    for (std::size_t i = 0; i < bursts.size(); ++i)
        if (bursts[i]-- == 0)
            means[detector.burstingPixels()[i]] *= 1 + burst;
}

void Exposure::spoilCounts(std::vector<zt::u32>& counts, const std::vector<double>& means) {
    for (const std::size_t pixel : detector.noisyPixels()) {
        const double more = std::sqrt(extraNoise * means[pixel]) * faultNoise.gaussian();
        counts[pixel] = static_cast<zt::u32>(std::max(0.0, std::round(counts[pixel] + more)));
    }
}

std::vector<zt::u32> Exposure::expose(std::span<const double> photons, std::span<const double> response,
                                      double flux) {
    std::vector<double> means(photons.size());
    std::ranges::transform(photons, response, means.begin(), std::multiplies());
    for (const std::size_t pixel : detector.hotPixels())
        means[pixel] = DetectorModel::hotCounts(flux);
    spoilMeans(means);
    std::vector<zt::u32> counts(means.size());
    std::ranges::transform(means, counts.begin(),
                           [&](double mean) { return static_cast<zt::u32>(noise.poisson(mean)); });
    spoilCounts(counts, means);
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
