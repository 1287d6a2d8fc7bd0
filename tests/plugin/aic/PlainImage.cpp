#include "PlainImage.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace plain {

Image correlation(const Image& image, const std::vector<float>& kernel, int side) {
    Image result(image.cols, image.rows);
    const int half = side / 2;
    for (int x = half; x < image.cols - half; ++x) {
        for (int y = half; y < image.rows - half; ++y) {
            float sum = 0;
            for (int dx = -half; dx <= half; ++dx) {
                for (int dy = -half; dy <= half; ++dy) {
                    const int tap = (dy + half) * side + dx + half;
                    sum += image.at(x + dx, y + dy) * kernel.at(static_cast<std::size_t>(tap));
                }
            }
            result.at(x, y) = sum;
        }
    }
    return result;
}

std::vector<float> histogram(const std::vector<float>& values, float range) {
    const int bins = std::max(static_cast<int>(values.size()) / 128, 128);
    const float width = range / static_cast<float>(bins - 1);
    std::vector<float> counts(static_cast<std::size_t>(bins), 0.0f);
    for (const float value : values) {
        const float index = std::floor(value / width);
        if (!(index >= 0 && index < static_cast<float>(bins)))
            throw std::out_of_range("histogram");
        counts[static_cast<std::size_t>(index)] += 1.0f;
    }
    return counts;
}

float sumOf(const std::vector<float>& values) {
    double sum = 0;
    for (const float value : values)
        sum += value;
    return static_cast<float>(sum);
}

} // namespace plain
