#pragma once

#include <span>

namespace PluginOmbrel {

// Multiplies pixel i by factor i, in place. There must be as many factors as pixels.
void multiplyPixels(std::span<double> pixels, std::span<const double> factors);

// Multiplies pixel i by factor (i modulo the number of factors), in place: one factor a column when there are
// as many factors as columns. There must be at least one factor.
void multiplyColumns(std::span<double> pixels, std::span<const double> factors);

} // namespace PluginOmbrel
