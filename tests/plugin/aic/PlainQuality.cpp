#include "PlainQuality.h"

#include <algorithm>
#include <cmath>

namespace plain {
namespace {

float tileSum(const Image& image, int left, int top, int tile) {
    float sum = 0;
    for (int y = top; y < top + tile; ++y) {
        double rowSum = 0;
        for (int x = left; x < left + tile; ++x)
            rowSum += image.at(x, y);
        sum = static_cast<float>(sum + rowSum);
    }
    return sum;
}

float quantile(const std::vector<float>& values, float portion, float range) {
    std::vector<float> bins = histogram(values, range);
    for (float& bin : bins)
        bin /= static_cast<float>(values.size());
    std::size_t i = 1;
    for (; i < bins.size(); ++i) {
        bins[i] += bins[i - 1];
        if (bins[i - 1] >= portion)
            break;
    }
    return static_cast<float>(i - 1) / static_cast<float>(bins.size()) * range;
}

} // namespace

Image highPass(Image image, const QualitySettings& settings) {
    if (!settings.customMask.pixels.empty())
        image = product(image, settings.customMask);
    if (!settings.borderMask.pixels.empty())
        image = product(image, settings.borderMask);
    const int side = static_cast<int>(std::sqrt(static_cast<double>(settings.kernel.size())));
    Image filtered = correlation(image, settings.kernel, side);
    for (float& pixel : filtered.pixels)
        pixel = std::fabs(pixel);
    return filtered;
}

std::vector<float> tileSums(const Image& filtered, int tile) {
    std::vector<float> sums;
    for (int x = 0; x < filtered.cols / tile; ++x)
        for (int y = 0; y < filtered.rows / tile; ++y)
            sums.push_back(tileSum(filtered, x * tile, y * tile, tile));
    return sums;
}

std::optional<float> quality(const Image& image, const QualitySettings& settings) {
    const Image filtered = highPass(image, settings);
    if (settings.tile < 1)
        return sumOf(filtered.pixels);
    std::vector<float> sums = tileSums(filtered, settings.tile);
    if (sums.empty())
        return std::nullopt;
    const float cut =
        quantile(sums, settings.threshold / 100.0f, *std::max_element(sums.begin(), sums.end()));
    for (float& sum : sums)
        sum = sum > cut ? 0 : sum;
    return sumOf(sums);
}

} // namespace plain
