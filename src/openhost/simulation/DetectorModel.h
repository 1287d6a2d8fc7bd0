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
    DetectorModel(std::size_t width, std::size_t height, std::uint64_t seed);

    std::size_t width() const { return columns; }
    std::size_t height() const { return rows; }
    std::size_t pixelCount() const { return columns * rows; }

    // Counts per arriving photon, around 0.8; 0 for a dead pixel.
    std::vector<double> response(const OperatingPoint& point) const;
    const std::vector<std::size_t>& deadPixels() const { return dead; }
    // Pixels that count without photons.
    const std::vector<std::size_t>& hotPixels() const { return hot; }
    // Counts of a hot pixel, for a beam of `flux` photons a pixel.
    static double hotCounts(double flux) { return 4 * flux; }

private:
    void spoilPixels(std::uint64_t seed);
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
};

// Takes pictures with a simulated detector: expected photons in, counts with photon statistics out.
class Exposure {
public:
    Exposure(const DetectorModel& model, std::uint64_t seed) : detector(model), noise(seed) {}

    // `photons`: photons that arrive at each pixel; `response`: see DetectorModel::response(); `flux`:
    // photons per pixel of the open beam, which determines the counts of hot pixels.
    std::vector<zt::u32> expose(std::span<const double> photons, std::span<const double> response,
                                double flux);

private:
    const DetectorModel& detector;
    Random noise;
};

// Photons that arrive at each pixel: flux x beam x transmission; an empty transmission means 1.
std::vector<double> arrivingPhotons(double flux, std::span<const double> beam,
                                    std::span<const double> transmission);

} // namespace ombrel::simulation
