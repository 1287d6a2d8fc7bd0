#include "PlainEngine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
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

namespace {

Image neighbourMeans(const Image& p) {
    const int right = p.cols - 1;
    const int bottom = p.rows - 1;
    Image mean = correlation(p, {.125f, .125f, .125f, .125f, 0, .125f, .125f, .125f, .125f}, 3);
    mean.at(0, 0) = (p.at(1, 0) + p.at(0, 1) + p.at(1, 1)) / 3.0f;
    mean.at(right, 0) = (p.at(right - 1, 0) + p.at(right - 1, 1) + p.at(right, 1)) / 3.0f;
    mean.at(0, bottom) = (p.at(0, bottom - 1) + p.at(1, bottom - 1) + p.at(1, bottom)) / 3.0f;
    mean.at(right, bottom) =
        (p.at(right - 1, bottom - 1) + p.at(right, bottom - 1) + p.at(right, bottom - 1)) / 3.0f;
    for (int x = 1; x < right; ++x) {
        mean.at(x, 0) =
            (p.at(x + 1, 0) + p.at(x - 1, 0) + p.at(x - 1, 1) + p.at(x, 1) + p.at(x + 1, 1)) / 5.0f;
        mean.at(x, bottom) = (p.at(x, bottom - 1) + p.at(x - 1, bottom - 1) + p.at(x + 1, bottom - 1) +
                              p.at(x - 1, bottom) + p.at(x + 1, bottom)) /
                             5.0f;
    }
    for (int y = 1; y < bottom; ++y) {
        mean.at(0, y) =
            (p.at(0, y + 1) + p.at(0, y - 1) + p.at(1, y - 1) + p.at(1, y) + p.at(1, y + 1)) / 5.0f;
        mean.at(right, y) = (p.at(right - 1, y) + p.at(right - 1, y - 1) + p.at(right - 1, y + 1) +
                             p.at(right, y - 1) + p.at(right, y + 1)) /
                            5.0f;
    }
    return mean;
}

float median(const Image& image, int x, int y) {
    std::array<float, 9> values;
    std::size_t count = 0;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            values[count++] =
                image.at(std::clamp(x + dx, 0, image.cols - 1), std::clamp(y + dy, 0, image.rows - 1));
        }
    }
    std::sort(values.begin(), values.end());
    return values[4];
}

} // namespace

Image withoutBadPixels(const Image& image, const PreProcessSettings& settings) {
    Image bad(image.cols, image.rows);
    if (settings.badPixelRatio > 0) {
        const Image means = neighbourMeans(image);
        for (std::size_t i = 0; i < image.pixels.size(); ++i) {
            const float pixel = image.pixels[i];
            const float mean = means.pixels[i];
            if (pixel > settings.badPixelRatio * mean || (1.0f / settings.badPixelRatio) * mean > pixel)
                bad.pixels[i] = 1;
        }
    }
    for (std::size_t i = 0; i < settings.badPixels.pixels.size(); ++i)
        bad.pixels.at(i) += settings.badPixels.pixels[i] > 0.5f ? 1.0f : 0.0f;
    Image result = image;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x)
            if (bad.at(x, y) == 1.0f)
                result.at(x, y) = median(image, x, y);
    }
    return result;
}

Image preProcessed(const Image& frame, const PreProcessSettings& settings, float& scaleFactor) {
    if (!settings.enabled) {
        scaleFactor = sumOf(frame.pixels) / static_cast<float>(frame.pixels.size());
        return product(frame, Image(frame.cols, frame.rows, 1.0f / scaleFactor));
    }
    const bool masked = !settings.compensateMask.pixels.empty();
    Image image = withoutBadPixels(masked ? product(frame, settings.compensateMask) : frame, settings);
    scaleFactor = *std::max_element(image.pixels.begin(), image.pixels.end());
    const float darkest = *std::min_element(image.pixels.begin(), image.pixels.end());
    const float tiny = std::numeric_limits<float>::min();
    for (float& pixel : image.pixels)
        pixel = (pixel - darkest) * (1.0f - tiny) / (scaleFactor - darkest) + tiny;
    const float low = quantile(image.pixels, settings.lowQuantile, 1);
    const float high = quantile(image.pixels, settings.highQuantile, 1);
    for (float& pixel : image.pixels) {
        pixel = pixel < low ? low : pixel;
        pixel = pixel > high ? high : pixel;
    }
    return image;
}

} // namespace plain
