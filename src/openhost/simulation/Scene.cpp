#include "simulation/Scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace ombrel::simulation {

double Random::uniform() {
    return static_cast<double>(engine() >> 11) * 0x1p-53;
}

// Box and Muller (1958): two at a time.
double Random::gaussian() {
    if (hasSpare) {
        hasSpare = false;
        return spareGaussian;
    }
    const double radius = std::sqrt(-2 * std::log(1 - uniform()));
    const double angle = 2 * std::numbers::pi * uniform();
    spareGaussian = radius * std::sin(angle);
    hasSpare = true;
    return radius * std::cos(angle);
}

double Random::poisson(double mean) {
    if (!(mean > 0))
        return 0;
    return mean < 10 ? poissonByProducts(mean) : poissonByRejection(mean);
}

// Knuth: the number of uniform factors until the product falls below exp(-mean).
double Random::poissonByProducts(double mean) {
    const double limit = std::exp(-mean);
    double product = uniform();
    double count = 0;
    while (product > limit) {
        product *= uniform();
        count += 1;
    }
    return count;
}

// Transformed rejection with squeeze: W. Hoermann, "The transformed rejection method for generating Poisson
// random variables", Insurance: Mathematics and Economics 12 (1993), algorithm PTRS.
double Random::poissonByRejection(double mean) {
    const double logMean = std::log(mean);
    const double b = 0.931 + 2.53 * std::sqrt(mean);
    const double a = -0.059 + 0.02483 * b;
    const double inverseAlpha = 1.1239 + 1.1328 / (b - 3.4);
    const double squeeze = 0.9277 - 3.6224 / (b - 2);
    for (;;) {
        const double u = uniform() - 0.5;
        const double v = 1 - uniform();
        const double us = 0.5 - std::abs(u);
        const double count = std::floor((2 * a / us + b) * u + mean + 0.43);
        if (us >= 0.07 && v <= squeeze)
            return count;
        if (count < 0 || (us < 0.013 && v > us))
            continue;
        if (std::log(v * inverseAlpha / (a / (us * us) + b)) <=
            count * logMean - mean - std::lgamma(count + 1))
            return count;
    }
}

namespace {

constexpr double attenuation = 0.5; // per millimetre

struct SpectralLine {
    double part;        // of the photons
    double attenuation; // per millimetre
};

// A tube's spectrum in three lines, the soft one first.
constexpr std::array<SpectralLine, 3> spectrum{{{0.3, 1.4}, {0.5, 0.6}, {0.2, 0.25}}};

// The bodies of the sample at (u, v), in frame widths and heights; thickness in millimetres.

double rod(double u, double v) {
    const double offset = (u - 0.22 - 0.1 * (v - 0.5)) / 0.07;
    return std::abs(offset) < 1 ? 1.8 * std::sqrt(1 - offset * offset) : 0;
}

double ring(double u, double v) {
    const double radius = std::hypot(u - 0.55, v - 0.35);
    return radius > 0.10 && radius < 0.17 ? 1.0 : 0;
}

double wedge(double u, double v) {
    const bool inside = u > 0.42 && u < 0.72 && v > 0.62 && v < 0.88;
    return inside ? 2.4 * (u - 0.42) / 0.3 : 0;
}

double plateWithHoles(double u, double v) {
    if (u < 0.76 || u > 0.94 || v < 0.15 || v > 0.6)
        return 0;
    const double holeU = std::fmod(u - 0.76, 0.045) - 0.0225;
    const double holeV = std::fmod(v - 0.15, 0.045) - 0.0225;
    return std::hypot(holeU, holeV) < 0.012 ? 0 : 1.4;
}

template <typename Value>
std::vector<double> mapOf(std::size_t width, std::size_t height, Value&& value) {
    std::vector<double> map;
    map.reserve(width * height);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            map.push_back(value((static_cast<double>(x) + 0.5) / static_cast<double>(width),
                                (static_cast<double>(y) + 0.5) / static_cast<double>(height)));
    return map;
}

} // namespace

std::vector<double> beamProfile(std::size_t width, std::size_t height, double energyKeV) {
    const double fall = 0.5 + 0.4 * (energyKeV - 25) / 25;
    return mapOf(width, height, [fall](double u, double v) {
        return 1 - fall * ((u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5));
    });
}

std::vector<double> sampleThickness(std::size_t width, std::size_t height, double shift) {
    return mapOf(
        width, height,
        [shift](double u, double v) {
            const double at = u - shift;
            return std::max({rod(at, v), ring(at, v), wedge(at, v), plateWithHoles(at, v)});
        });
}

std::vector<double> transmission(std::vector<double> thickness) {
    for (double& value : thickness)
        value = std::exp(-attenuation * value);
    return thickness;
}

double spectrumTransmission(double thickness) {
    double passed = 0;
    for (const SpectralLine& line : spectrum)
        passed += line.part * std::exp(-line.attenuation * thickness);
    return passed;
}

double spectrumAttenuation(double thickness) {
    double lost = 0;
    for (const SpectralLine& line : spectrum)
        lost += line.attenuation * line.part * std::exp(-line.attenuation * thickness);
    return lost / spectrumTransmission(thickness);
}

} // namespace ombrel::simulation
