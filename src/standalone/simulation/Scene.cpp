#include "standalone/simulation/Scene.h"

#include <algorithm>
#include <cmath>

namespace ombrel::simulation {

namespace {

// Thickness of each body in mean free paths, at (u, v) in frame widths and heights.

double rod(double u, double v) {
    const double offset = (u - 0.22 - 0.1 * (v - 0.5)) / 0.07;
    return std::abs(offset) < 1 ? 0.9 * std::sqrt(1 - offset * offset) : 0;
}

double ring(double u, double v) {
    const double radius = std::hypot(u - 0.55, v - 0.35);
    return radius > 0.10 && radius < 0.17 ? 0.5 : 0;
}

double wedge(double u, double v) {
    const bool inside = u > 0.42 && u < 0.72 && v > 0.62 && v < 0.88;
    return inside ? 1.2 * (u - 0.42) / 0.3 : 0;
}

double plateWithHoles(double u, double v) {
    if (u < 0.76 || u > 0.94 || v < 0.15 || v > 0.6)
        return 0;
    const double holeU = std::fmod(u - 0.76, 0.045) - 0.0225;
    const double holeV = std::fmod(v - 0.15, 0.045) - 0.0225;
    return std::hypot(holeU, holeV) < 0.012 ? 0 : 0.7;
}

template <typename Value>
std::vector<double> mapOf(std::size_t width, std::size_t height, Value&& value) {
    std::vector<double> map;
    map.reserve(width * height);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            map.push_back(value((static_cast<double>(x) + 0.5) / static_cast<double>(width),
                                (static_cast<double>(y) + 0.5) / static_cast<double>(height)));
    return map;
}

} // namespace

std::vector<double> beamProfile(std::size_t width, std::size_t height) {
    return mapOf(width, height, [](double u, double v) {
        const double r2 = (u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5);
        return 1 - 0.5 * r2;
    });
}

std::vector<double> sampleTransmission(std::size_t width, std::size_t height, double shift) {
    return mapOf(width, height, [shift](double u, double v) {
        const double at = u - shift;
        return std::exp(-std::max({rod(at, v), ring(at, v), wedge(at, v), plateWithHoles(at, v)}));
    });
}

} // namespace ombrel::simulation
