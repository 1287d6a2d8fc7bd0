#include "PlainPreProcess.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace plain {
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

std::pair<float, float> quantiles(const std::vector<float>& values, float low, float high) {
    std::vector<float> bins = histogram(values, 1.0f);
    for (float& bin : bins)
        bin /= static_cast<float>(values.size());
    const auto find = [&](float portion) {
        float running = 0;
        for (std::size_t i = 0; i + 1 < bins.size(); ++i) {
            running += bins[i];
            if (running >= portion)
                return static_cast<float>(i) / static_cast<float>(bins.size());
        }
        return static_cast<float>(bins.size() - 1) / static_cast<float>(bins.size());
    };
    return {find(low), find(high)};
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
    const auto [low, high] = quantiles(image.pixels, settings.lowQuantile, settings.highQuantile);
    for (float& pixel : image.pixels) {
        pixel = pixel < low ? low : pixel;
        pixel = pixel > high ? high : pixel;
    }
    return image;
}

} // namespace plain
