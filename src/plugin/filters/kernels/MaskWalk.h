#pragma once

#include "kernels/MaskOrder.h"
#include "kernels/MaskTables.h"

#include <span>

namespace PluginOmbrel {

// Turns counts into thicknesses, in place. With L = log(count / acqTime), the first two neighbouring masks
// that L lies between give a straight line, on which L is a thickness; the lines of the first two and of the
// last two masks go on above and below. Masks stand in the order of ascending thickness and have at least as
// many values as there are counts. An order that was found for them makes it faster and changes nothing else.
//
// A count at or below 0 becomes 0, and so does a pixel at which the two masks are equal. Without masks all
// pixels become 0. A single mask gives 0 for an L at or above it, and leaves L as it is below.
void replaceByThickness(std::span<double> counts, double acqTime, const MaskTables& masks,
                        const MaskOrder& order);

// Turns counts into logarithms of the count rate, in place; a count that is not above 0 becomes 0.
void replaceByLogarithm(std::span<double> counts, double acqTime);

} // namespace PluginOmbrel
