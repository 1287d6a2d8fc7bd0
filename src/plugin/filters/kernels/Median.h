#pragma once

#include <span>

namespace PluginOmbrel {

// The median of a table: for an even count the lower of the two middle values, for none 0.
//
// It is the result of a bisection between the smallest and the largest value, to the last bit: a median of
// zero has the sign that the bisection gives it, and a table with infinities can have a NaN for its median.
// NaNs count as equal to every pivot. Takes scratch memory of up to twice the table's size, and linear time.
double medianOf(std::span<const double> values);

} // namespace PluginOmbrel
