#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace PluginOmbrel {

// Bad pixels are interpolated from pixels up to this distance in each direction.
inline constexpr std::size_t neighbourReach = 2;
inline constexpr std::size_t neighbourSide = 2 * neighbourReach + 1;

// 1 / distance to the centre, [row][column]; 0 for the centre, which does not contribute to itself.
inline const std::array<std::array<double, neighbourSide>, neighbourSide> inverseDistances = [] {
    std::array<std::array<double, neighbourSide>, neighbourSide> weights{};
    for (std::size_t row = 0; row < neighbourSide; ++row)
        for (std::size_t column = 0; column < neighbourSide; ++column) {
            const int dy = static_cast<int>(row) - static_cast<int>(neighbourReach);
            const int dx = static_cast<int>(column) - static_cast<int>(neighbourReach);
            if (dx != 0 || dy != 0)
                weights[row][column] = 1 / std::sqrt(static_cast<double>(dx * dx + dy * dy));
        }
    return weights;
}();

// The sum of all weights, added in the same order as for any pixel: row by row.
inline const double surroundedWeightSum = [] {
    double sum = 0;
    for (const auto& row : inverseDistances)
        for (const double weight : row)
            sum += weight;
    return sum;
}();

struct FrameSize {
    std::size_t width;
    std::size_t height;
};

// The rows and columns around a pixel, both ends included, clipped at the frame's edges.
struct Neighbourhood {
    Neighbourhood(std::size_t x, std::size_t y, FrameSize frame)
        : top(y < neighbourReach ? 0 : y - neighbourReach),
          bottom(std::min(frame.height - 1, y + neighbourReach)),
          left(x < neighbourReach ? 0 : x - neighbourReach),
          right(std::min(frame.width - 1, x + neighbourReach)) {}

    std::size_t cells() const { return (bottom - top + 1) * (right - left + 1); }

    std::size_t top;
    std::size_t bottom;
    std::size_t left;
    std::size_t right;
};

} // namespace PluginOmbrel
