#pragma once

#include "frame/Frame.h"
#include "frame/PreviewImage.h"

#include <memory>
#include <span>
#include <vector>

namespace ombrel::workbench {

// Number of pixels in each of several steps of equal width.
struct Histogram {
    double low = 0;  // start of the first step
    double step = 1; // above 0
    std::vector<double> counts;
};

// Covers slightly more than the range between the limits; values outside it, or not finite, are not counted.
Histogram histogramOf(std::span<const double> pixels, const ScaleLimits& limits);

// The pixels of a frame as the window shows them, row by row from the top.
struct Image {
    zt::u32 width = 0;
    zt::u32 height = 0;
    std::vector<double> pixels;

    bool contains(int x, int y) const {
        return x >= 0 && y >= 0 && x < static_cast<int>(width) && y < static_cast<int>(height);
    }
    double at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

// The faults of the pixels of a frame, see PixelFaults.h; null if none has any.
using FaultsPtr = std::shared_ptr<const std::vector<zt::u32>>;

// Shared by the worker that makes it and the widgets that show it.
using ImagePtr = std::shared_ptr<const Image>;

ImagePtr imageOf(const Frame& frame);
// `image` minus `base`; null when one is missing or the sizes differ.
ImagePtr differenceOf(const ImagePtr& image, const ImagePtr& base);

} // namespace ombrel::workbench
