#pragma once

#include <cstdint>
#include <random>

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

} // namespace ombrel::simulation
