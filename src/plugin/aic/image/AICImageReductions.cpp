#include "image/AICImage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <stdexcept>

namespace {

// The same element as std::min_element (std::max_element), computed in lanes with one extreme each. A NaN is
// never better than another value, and nothing is better than a NaN at the start.
template <typename Better>
float extreme(std::span<const float> pixels, Better better) {
    if (pixels.empty())
        throw std::out_of_range("smallest or largest pixel of an image without pixels");
    constexpr std::size_t laneCount = 16;
    std::array<float, laneCount> lanes;
    lanes.fill(pixels[0]);
    std::size_t i = 0;
    for (; i + laneCount <= pixels.size(); i += laneCount)
        for (std::size_t lane = 0; lane < laneCount; ++lane)
            lanes[lane] = better(pixels[i + lane], lanes[lane]) ? pixels[i + lane] : lanes[lane];
    float best = *std::ranges::min_element(lanes, better);
    for (; i < pixels.size(); ++i)
        best = better(pixels[i], best) ? pixels[i] : best;
    // Zeros of both signs are equal, and the lanes lose their order.
    return best == 0 ? *std::ranges::find(pixels, 0.0f) : best;
}

void stretch(std::span<const float> source, std::span<float> target, float lo, float hi) {
    const float min = extreme(source, std::less<float>{});
    const float max = extreme(source, std::greater<float>{});
    const std::size_t count = std::min(source.size(), target.size());
    for (std::size_t i = 0; i < count; ++i)
        target[i] = (source[i] - min) * (hi - lo) / (max - min) + lo;
}

} // namespace

float AICImage::min_val() const {
    return extreme(values, std::less<float>{});
}
float AICImage::max_val() const {
    return extreme(values, std::greater<float>{});
}

float AICImage::sum() const {
    double total = 0;
    for (const float pixel : values)
        total += pixel;
    return static_cast<float>(total);
}

float AICImage::sum(int x, int y, int w, int h) const {
    if (w < 1 || h < 1)
        return 0;
    checkRegion(x, y, w, h, values.size());
    float total = 0;
    for (std::int64_t row = y; row < std::int64_t{y} + h; ++row) {
        const float* const first = values.data() + (row * imageCols + x);
        double rowSum = 0;
        for (int i = 0; i < w; ++i)
            rowSum += first[i];
        total = static_cast<float>(total + rowSum);
    }
    return total;
}

void AICImage::normalize(float lo, float hi) {
    stretch(values, values, lo, hi);
}

void AICImage::normalize(AICImage source, AICImage* result, float lo, float hi) {
    result->zeros(source.imageCols, source.imageRows); // a reshaped source may hold fewer pixels than this
    stretch(source.values, result->values, lo, hi);
}

void AICImage::convert_to_uchar(std::vector<unsigned char>* bytes) const {
    const auto count = static_cast<std::size_t>(std::int64_t{imageCols} * imageRows);
    bytes->assign(count, 0);
    const float min = min_val();
    const float max = max_val();
    for (std::size_t i = 0; i < count; ++i) {
        const float stretched = (values.at(i) - min) * 255.0f / (max - min);
        if (std::isfinite(stretched))
            (*bytes)[i] = static_cast<unsigned char>(static_cast<int>(std::round(stretched)));
    }
}
