#pragma once

#include <span>

namespace PluginOmbrel {

// The median of at least one value by bisection between the smallest and the largest.
double bisectMedian(std::span<const double> values);

} // namespace PluginOmbrel
