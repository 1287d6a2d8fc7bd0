#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace ombrel::simulation {

// Seeded random numbers of the simulator. They are the same on every machine, unlike those of the standard
// library's distributions, whose algorithms differ between vendors.
class Random {
public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    double uniform(); // in [0, 1)
    double gaussian();
    // A count with the given mean, 0 or more: photon statistics.
    double poisson(double mean);

private:
    double poissonByProducts(double mean);
    double poissonByRejection(double mean);

    std::mt19937_64 engine;
    double spareGaussian = 0;
    bool hasSpare = false;
};

// Objects in front of the detector. Maps are row-major and cover width x height pixels.

// Intensity of the open beam, 1 in the middle and lower towards the corners, the more so the higher its
// energy.
std::vector<double> beamProfile(std::size_t width, std::size_t height, double energyKeV);

// Thickness of the sample in millimetres, 0 to 2.4, 0 where the beam is open: a rod, a ring, a wedge and a
// plate with holes. `shift` moves it to the right, in frame widths.
std::vector<double> sampleThickness(std::size_t width, std::size_t height, double shift);

// Transmission of a monochromatic beam through a sample of those thicknesses.
std::vector<double> transmission(std::vector<double> thickness);

// Transmission of a polychromatic beam through that thickness: the soft part is absorbed first, so its
// logarithm is not linear in the thickness.
double spectrumTransmission(double thickness);
// The attenuation of that beam per millimetre, after that thickness.
double spectrumAttenuation(double thickness);

} // namespace ombrel::simulation
