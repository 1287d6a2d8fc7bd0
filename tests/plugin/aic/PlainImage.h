#pragma once

#include <cstddef>
#include <vector>

// The adaptive engine once more, plain and slow: straight from its definition, with an image of its own and
// nothing of the engine's code. The engine is held against it bit by bit.
namespace plain {

struct Image {
    int cols = 0;
    int rows = 0;
    std::vector<float> pixels; // row by row

    Image() = default;
    Image(int width, int height, float value = 0)
        : cols(width), rows(height),
          pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), value) {}

    float& at(int x, int y) { return pixels.at(index(x, y)); }
    float at(int x, int y) const { return pixels.at(index(x, y)); }

private:
    std::size_t index(int x, int y) const { return static_cast<std::size_t>(y * cols + x); }
};

inline Image product(Image a, const Image& b) {
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        a.pixels[i] *= b.pixels.at(i);
    return a;
}

inline Image quotient(Image a, const Image& b) {
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        a.pixels[i] /= b.pixels.at(i);
    return a;
}

// Correlation, summed column by column; a border of half a kernel stays 0.
Image correlation(const Image& image, const std::vector<float>& kernel, int side);

// Counts of values by floor(value / width); throws std::out_of_range for a value outside.
std::vector<float> histogram(const std::vector<float>& values, float range);

float sumOf(const std::vector<float>& values);

} // namespace plain
