#pragma once

#include "simulation/Scene.h"
#include "zt/Types.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ombrel::simulation {

// Settings of the detector and the tube that change the fixed pattern.
struct OperatingPoint {
    double bias = 150;     // volts at the sensor
    double threshold = 10; // keV
    double energy = 25;    // keV, of the beam
};

// Pixels whose faults show only in repeated pictures, or that do not exist.
struct FaultPlan {
    zt::u32 noisy = 0;      // pixels with twice the noise of their counts
    zt::u32 flickering = 0; // pixels whose level is 10 % higher in about half of the pictures
    zt::u32 bursting = 0;   // pixels that count 30 % more in one picture of a stack
    zt::u32 gapColumns = 0; // columns without pixels, in the middle of the sensor

    bool isEmpty() const { return noisy + flickering + bursting + gapColumns == 0; }
};

// A pixel detector with the faults that a flat-field correction removes. All maps are row-major.
//
// The response of a pixel is the product of
//   - its gain, 3 % from pixel to pixel, and more at the edges of the sensor's chips, whose pixels are wider
//   - waves over the sensor, from its doping as the crystal grew: the weaker the bias, the deeper
//   - the charge that it collects, which scatters from pixel to pixel, the more the weaker the bias
//   - the part of the photons that its threshold lets through: the threshold scatters from pixel to pixel,
//     and what it costs grows with threshold over energy
//   - the part of the photons that stops in its sensor, which scatters with its thickness, the more the
//     harder the beam
// so that the pattern itself, from pixel to pixel and not in its level alone, changes with each of the three
// settings. At the default operating point collection and thickness leave no pattern.
class DetectorModel {
public:
    DetectorModel(std::size_t width, std::size_t height, std::uint64_t seed, const FaultPlan& faults = {});

    std::size_t width() const { return columns; }
    std::size_t height() const { return rows; }
    std::size_t pixelCount() const { return columns * rows; }

    // Counts per arriving photon, around 0.8; 0 for a dead pixel.
    std::vector<double> response(const OperatingPoint& point) const;
    const std::vector<std::size_t>& deadPixels() const { return dead; }
    // Pixels that count without photons.
    const std::vector<std::size_t>& hotPixels() const { return hot; }
    const std::vector<std::size_t>& noisyPixels() const { return noisy; }
    const std::vector<std::size_t>& flickeringPixels() const { return flickering; }
    const std::vector<std::size_t>& burstingPixels() const { return bursting; }
    const std::vector<std::size_t>& gapPixels() const { return gap; }
    // Counts of a hot pixel, for a beam of `flux` photons a pixel.
    static double hotCounts(double flux) { return 4 * flux; }

private:
    void spoilPixels(std::uint64_t seed);
    void addFaults(std::uint64_t seed, const FaultPlan& faults);
    void scatterSensor(std::uint64_t seed);

    std::size_t columns;
    std::size_t rows;
    std::vector<double> gain;
    std::vector<double> wave;
    std::vector<double> thresholdScatter; // in standard deviations, as the next two
    std::vector<double> collectionScatter;
    std::vector<double> thicknessScatter;
    std::vector<std::size_t> dead;
    std::vector<std::size_t> hot;
    std::vector<std::size_t> noisy;
    std::vector<std::size_t> flickering;
    std::vector<std::size_t> bursting;
    std::vector<std::size_t> gap;
};

// Takes pictures with a simulated detector: expected photons in, counts with photon statistics out.
class Exposure {
public:
    Exposure(const DetectorModel& model, std::uint64_t seed)
        : detector(model), noise(seed), faultNoise(seed + 1) {}

    // Each bursting pixel bursts in one of the next pictures.
    void beginStack(std::size_t pictures);

    // `photons`: photons that arrive at each pixel; `response`: see DetectorModel::response(); `flux`:
    // photons per pixel of the open beam, which determines the counts of hot pixels.
    std::vector<zt::u32> expose(std::span<const double> photons, std::span<const double> response,
                                double flux);

private:
    void spoilMeans(std::vector<double>& means);
    void spoilCounts(std::vector<zt::u32>& counts, const std::vector<double>& means);

    const DetectorModel& detector;
    Random noise;
    Random faultNoise; // apart from the noise of the other pixels, which does not depend on the faults
    std::vector<std::size_t> bursts; // of each bursting pixel: pictures until then
};

// Photons that arrive at each pixel: flux x beam x transmission; an empty transmission means 1.
std::vector<double> arrivingPhotons(double flux, std::span<const double> beam,
                                    std::span<const double> transmission);

} // namespace ombrel::simulation
