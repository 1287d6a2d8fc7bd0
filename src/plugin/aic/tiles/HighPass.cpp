#include "tiles/HighPass.h"

#include <cmath>
#include <cstddef>

HighPass::HighPass(std::span<const float> values) {
    const auto side = static_cast<std::size_t>(std::sqrt(static_cast<double>(values.size())));
    const std::size_t half = side / 2;
    const std::size_t window = 2 * half + 1;
    if (side == 0 || 2 * half * side + 2 * half >= values.size())
        return;
    halfSide = static_cast<int>(half);
    for (std::size_t x = 0; x < window; ++x)
        for (std::size_t y = 0; y < window; ++y)
            columns.push_back(values[y * side + x]);
}

double HighPass::sumOfMagnitudes() const {
    double sum = 0;
    for (const float tap : columns)
        sum += std::fabs(static_cast<double>(tap));
    return sum;
}

bool HighPass::hasNeighbours(float corner, float side) const {
    if (halfSide != 1)
        return false;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const bool isCentre = i == 4;
        if (!isCentre && columns[i] != (i % 2 == 0 ? corner : side))
            return false;
    }
    return true;
}
