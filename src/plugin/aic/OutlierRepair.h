#pragma once

#include "image/AICImage.h"
#include "tiles/Kernels.h"

#include <span>
#include <vector>

// Replaces the bad pixels of an image by the median of their 3 x 3 neighbourhood in the unrepaired image. Bad
// is what stands out from the mean of its neighbours, and what a mask of ones and zeros names - but not a
// pixel that is found by both.
class OutlierRepair {
public:
    explicit OutlierRepair(const Kernels& kernels) : loops(kernels) {}

    // Bad is above ratio times the mean, and below a ratio-th of it; a ratio of 0 or less finds nothing.
    // Null: no mask. With neither the result is a copy. Throws std::out_of_range for a search in an image of
    // less than two columns or rows. The result must be another image.
    void repair(const AICImage& image, float ratio, const AICImage* badPixels, AICImage& result);

private:
    // Marks a row's outliers 1, the others 0, and tells whether there is one.
    bool markRow(const AICImage& image, int y, OutlierRule rule);

    Kernels loops;
    std::vector<float> marks; // of a row
};
