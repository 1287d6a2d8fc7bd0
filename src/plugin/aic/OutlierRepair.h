#pragma once

#include "image/AICImage.h"
#include "tiles/Kernels.h"

#include <span>
#include <vector>

// Replaces the bad pixels of an image by the median of their 3 x 3 neighbourhood in the unrepaired image. Bad
// are pixels that differ strongly from the mean of their neighbours, and those that a mask of ones and zeros
// marks, but not pixels found by both.
class OutlierRepair {
public:
    explicit OutlierRepair(const Kernels& kernels) : loops(kernels) {}

    // Bad pixels are above ratio times the mean, or below the mean divided by ratio; a ratio of 0 or less
    // finds none. `badPixels` may be null. With neither the result is a copy. Throws std::out_of_range for a
    // search in an image of less than two columns or rows. The result must be another image.
    void repair(const AICImage& image, float ratio, const AICImage* badPixels, AICImage& result);

private:
    // Marks a row's outliers with 1, other pixels with 0, and returns whether the row has any.
    bool markRow(const AICImage& image, int y, OutlierRule rule);

    Kernels loops;
    std::vector<float> marks; // of a row
};
