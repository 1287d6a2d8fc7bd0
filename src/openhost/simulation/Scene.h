#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace ombrel::simulation {

// Seeded randomness of the simulator. It gives the same numbers on every machine, unlike the distributions of
// the standard library, whose methods are each vendor's own.
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

// What stands before the detector. Maps are row-major and cover width x height pixels.

// Intensity of the open beam, 1 in the middle and falling off towards the corners, the more the higher its
// energy.
std::vector<double> beamProfile(std::size_t width, std::size_t height, double energyKeV);

// Thickness of the sample in millimetres, 0 to 2.4, 0 where the beam is open: a rod, a ring, a wedge and a
// plate with holes. `shift` moves it to the right, in frame widths.
std::vector<double> sampleThickness(std::size_t width, std::size_t height, double shift);

// Part of a beam of one energy that passes a sample of those thicknesses.
std::vector<double> transmission(std::vector<double> thickness);

// Part of a beam with a spectrum that passes that thickness: the soft part is lost first, so that its
// logarithm is not straight in the thickness.
double spectrumTransmission(double thickness);
// What the next millimetre behind that thickness takes off the logarithm of such a beam, per millimetre.
double spectrumAttenuation(double thickness);

} // namespace ombrel::simulation
