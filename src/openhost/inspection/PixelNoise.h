#pragma once

#include "zt/Types.h"

#include <span>
#include <vector>

namespace ombrel {

// The probability that chi-square with that many degrees of freedom exceeds a value.
double chiSquareTail(double value, double degrees);
// The value that chi-square exceeds with probability 1/2.
double chiSquareMedian(double degrees);

// The largest p-value that counts as a discovery among `tests` tests, where `small` holds at least all
// p-values up to that rate: Y. Benjamini and Y. Hochberg, "Controlling the false discovery rate", J. R.
// Statist. Soc. B 57 (1995). 0 without a discovery.
double discoveryLimit(std::vector<double> small, zt::u64 tests, double rate);

// The deviation of a count from its share of the pixel's total, in standard deviations: given the total,
// counts of photons are binomial. The signed root of the deviance, with half a count as the correction for
// whole numbers.
double shareDeviation(double count, double total, double share);

// How well two levels explain the values of a pixel.
struct TwoLevels {
    double remainder = 1;   // part of the squared deviations that remains around the two levels
    std::size_t fewer = 0;  // values at the level that has fewer
    bool fewerAbove = true; // that level is the upper one
};
TwoLevels twoLevelsOf(std::vector<double> deviations);

} // namespace ombrel
