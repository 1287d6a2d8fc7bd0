#pragma once

#include "fixtures/Testing.h"
#include "image/AICImage.h"

#include <random>

// Pixels that arithmetic stumbles over, between ordinary ones: zeros of both signs, denormals, infinities,
// NaN.
inline float hostilePixel(std::mt19937& random) {
    using limits = std::numeric_limits<float>;
    static constexpr float hostile[] = {0,   -0.0f,    1e-45f,    -1e-45f,       limits::min(),
                                        NAN, INFINITY, -INFINITY, limits::max(), limits::lowest()};
    if (random() % 8 == 0)
        return hostile[random() % std::size(hostile)];
    return std::uniform_real_distribution<float>(-10, 100)(random);
}

inline AICImage hostileImage(int cols, int rows, std::mt19937& random) {
    AICImage image(cols, rows);
    for (float& pixel : image.pixels())
        pixel = hostilePixel(random);
    return image;
}

inline AICImage imageOf(int cols, int rows, std::initializer_list<float> pixels) {
    AICImage image(cols, rows);
    std::ranges::copy(pixels, image.pixels().begin());
    return image;
}
