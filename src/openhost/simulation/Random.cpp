#include "simulation/Random.h"

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

} // namespace ombrel::simulation
