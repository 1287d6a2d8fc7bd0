#include "model/Image.h"

#include "frame/PixelType.h"

#include <algorithm>
#include <functional>

namespace ombrel::workbench {

namespace {

constexpr std::size_t steps = 256;
constexpr double margin = 0.15; // of the distance between the limits, on both sides

// Integer pixels get steps of whole numbers: with other widths neighbouring steps would cover different
// numbers of values.
double stepOver(std::span<const double> pixels, double span) {
    const double step = span / steps;
    const bool isWhole =
        std::ranges::all_of(pixels.first(std::min<std::size_t>(pixels.size(), 1000)), [](double pixel) {
            return !(pixel - pixel == 0) || pixel == static_cast<double>(static_cast<long long>(pixel));
        });
    return isWhole ? std::max(1.0, static_cast<double>(static_cast<long long>(step + 1))) : step;
}

} // namespace

Histogram histogramOf(std::span<const double> pixels, const ScaleLimits& limits) {
    const double span = limits.high - limits.low;
    Histogram histogram;
    histogram.step = stepOver(pixels, span * (1 + 2 * margin));
    histogram.low = limits.low - span * margin;
    if (histogram.step >= 1)
        histogram.low = static_cast<double>(static_cast<long long>(histogram.low)) - 0.5;
    histogram.counts.resize(steps + 1);
    const double end = static_cast<double>(histogram.counts.size());
    for (const double pixel : pixels) {
        const double at = (pixel - histogram.low) / histogram.step;
        if (at >= 0 && at < end)
            ++histogram.counts[static_cast<std::size_t>(at)];
    }
    return histogram;
}

ImagePtr imageOf(const Frame& frame) {
    auto image = std::make_shared<Image>();
    image->width = frame.width();
    image->height = frame.height();
    image->pixels.resize(frame.size());
    convertPixels(frame.bytes().data(), frame.frameDataType(),
                  reinterpret_cast<std::byte*>(image->pixels.data()), zt::DT_DOUBLE, image->pixels.size());
    return image;
}

ImagePtr differenceOf(const ImagePtr& image, const ImagePtr& base) {
    if (!image || !base || image->width != base->width || image->height != base->height)
        return nullptr;
    auto difference = std::make_shared<Image>(*image);
    std::ranges::transform(image->pixels, base->pixels, difference->pixels.begin(), std::minus());
    return difference;
}

} // namespace ombrel::workbench
