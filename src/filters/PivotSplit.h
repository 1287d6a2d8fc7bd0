#pragma once

#include <cstddef>
#include <span>

namespace PluginOmbrel {

// The smallest and the largest value, NaNs passed over. Without any number `min` is infinite and above `max`.
struct Extremes {
    double min;
    double max;
};

// How values lie around a pivot. NaNs lie on neither side.
struct PivotSplit {
    std::size_t less = 0;
    std::size_t greater = 0;
    double maxLess;    // the largest value below the pivot, or what was given if that is larger
    double minGreater; // the smallest value above the pivot, or what was given if that is smaller
};

// A zero in the results may have either sign where zeros of both are among the values.
Extremes extremesOf(std::span<const double> values);
PivotSplit splitAt(std::span<const double> values, double pivot, Extremes given);

} // namespace PluginOmbrel
