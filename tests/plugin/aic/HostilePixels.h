#pragma once

#include "fixtures/Testing.h"
#include "image/AICImage.h"

#include <bit>
#include <cstdint>
#include <random>

// Pixels that arithmetic stumbles over, between ordinary ones: zeros of both signs, denormals, infinities,
// NaN.
inline float hostilePixel(std::mt19937& random) {
    using limits = std::numeric_limits<float>;
    static constexpr float hostile[] = {0.0f,
                                        -0.0f,
                                        limits::denorm_min(),
                                        -limits::denorm_min(),
                                        limits::min(),
                                        limits::infinity(),
                                        -limits::infinity(),
                                        limits::quiet_NaN(),
                                        limits::max(),
                                        limits::lowest()};
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

// The same bits; one NaN is as good as another.
inline bool sameBits(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

// Names the first pixel that differs.
inline ::testing::AssertionResult sameBits(std::span<const float> actual, std::span<const float> expected) {
    if (actual.size() != expected.size())
        return ::testing::AssertionFailure() << actual.size() << " pixels instead of " << expected.size();
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (!sameBits(actual[i], expected[i])) {
            return ::testing::AssertionFailure()
                   << "pixel " << i << " is " << actual[i] << " instead of " << expected[i];
        }
    }
    return ::testing::AssertionSuccess();
}
