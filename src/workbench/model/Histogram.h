#pragma once

#include "frame/PreviewImage.h"

#include <span>
#include <vector>

namespace ombrel::workbench {

// How many pixels have a value in each of equal steps.
struct Histogram {
    double low = 0;  // where the first step begins
    double step = 1; // above 0
    std::vector<double> counts;
};

// A little more than the values between the limits; what lies beyond, or is not finite, is not counted.
Histogram histogramOf(std::span<const double> pixels, const ScaleLimits& limits);

} // namespace ombrel::workbench
