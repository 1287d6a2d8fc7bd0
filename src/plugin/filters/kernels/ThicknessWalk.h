#pragma once

#include "kernels/ThicknessSearch.h"

#include <cstddef>
#include <span>
#include <vector>

namespace PluginOmbrel {

// The stretches of pixels where no mask lies above the one before, and the last one lies below it: all except
// dead pixels and those where noise exceeds the step between masks. There the masks can be bisected.
class ThicknessOrder {
public:
    static constexpr std::size_t stretch = 16; // pixels

    // Checks the first `pixels` values of each mask, unless this was done before.
    void find(const ThicknessTables& masks, std::size_t pixels);
    // Call it after masks were added, removed or changed.
    void forget();
    // Whether the masks fall in the pixel's stretch.
    bool falls(std::size_t pixel) const {
        return pixel / stretch < stretches.size() && stretches[pixel / stretch] != 0;
    }

private:
    std::vector<unsigned char> stretches;
    std::size_t known = 0; // pixels
};

// Replaces counts by thicknesses, in place. With L = log(count / acqTime), the first two neighbouring masks
// that enclose L define a straight line, which gives the thickness at L; the lines of the first two and of
// the last two masks are extrapolated above and below. Masks are in the order of ascending thickness and have
// at least as many values as counts. `order` only affects the speed.
//
// A count at or below 0 becomes 0, and so does a pixel at which the two masks are equal. Without masks all
// pixels become 0. With a single mask the result is 0 for an L at or above it, and L below it.
void replaceByThickness(std::span<double> counts, double acqTime, const ThicknessTables& masks,
                        const ThicknessOrder& order);

// Replaces counts by logarithms of the count rate, in place; a count that is not above 0 becomes 0.
void replaceByLogarithm(std::span<double> counts, double acqTime);

} // namespace PluginOmbrel
