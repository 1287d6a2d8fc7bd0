#pragma once

#include "kernels/ThicknessSearch.h"

#include <cstddef>
#include <span>
#include <vector>

namespace PluginOmbrel {

// At which stretches of pixels no mask lies above the one before, and the last one lies below it: everywhere
// but at dead pixels and where noise outweighs the step from mask to mask. There a walk may search by halves.
class ThicknessOrder {
public:
    static constexpr std::size_t stretch = 16; // pixels

    // Looks at the first `pixels` values of each mask, unless they are known from before.
    void find(const ThicknessTables& masks, std::size_t pixels);
    // Masks have come, gone or changed.
    void forget();
    // Whether that is so at the pixel and the rest of its stretch.
    bool falls(std::size_t pixel) const {
        return pixel / stretch < stretches.size() && stretches[pixel / stretch] != 0;
    }

private:
    std::vector<unsigned char> stretches;
    std::size_t known = 0; // pixels
};

// Turns counts into thicknesses, in place. With L = log(count / acqTime), the first two neighbouring masks
// that L lies between give a straight line, on which L is a thickness; the lines of the first two and of the
// last two masks go on above and below. Masks stand in the order of ascending thickness and have at least as
// many values as there are counts. An order that was found for them makes it faster and changes nothing else.
//
// A count at or below 0 becomes 0, and so does a pixel at which the two masks are equal. Without masks all
// pixels become 0. A single mask gives 0 for an L at or above it, and leaves L as it is below.
void replaceByThickness(std::span<double> counts, double acqTime, const ThicknessTables& masks,
                        const ThicknessOrder& order);

// Turns counts into logarithms of the count rate, in place; a count that is not above 0 becomes 0.
void replaceByLogarithm(std::span<double> counts, double acqTime);

} // namespace PluginOmbrel
