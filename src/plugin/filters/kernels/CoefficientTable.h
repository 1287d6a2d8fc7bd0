#pragma once

#include <cstddef>
#include <span>

namespace PluginOmbrel {

// Sets column x to the mean of column x of an image, whose width is the number of columns. Each pixel is
// divided by the height before it is added.
void meanOfColumns(std::span<const double> image, std::size_t height, std::span<double> columns);

// Turns a flat field into coefficients, in place: the median of all over each value. A value of 0 gets the
// coefficient 0, so that a pixel that sees nothing comes out as 0.
void toCoefficients(std::span<double> flatField);

} // namespace PluginOmbrel
