#include "simulation/GridPlan.h"

namespace ombrel::simulation {

namespace {

struct Axis {
    double first;
    double last;

    double at(double part) const { return first + part * (last - first); }
};

constexpr Axis bias{120, 180};   // volts
constexpr Axis threshold{8, 12}; // keV
constexpr Axis energy{22, 28};   // keV

// Three numbers of 0 to steps - 1 become parts of the axes; `shift` is in steps.
std::vector<OperatingPoint> combinations(std::size_t count, std::size_t steps, double shift) {
    const double whole = steps > 1 ? static_cast<double>(steps - 1) : 1;
    const auto part = [&](std::size_t index) { return (static_cast<double>(index) + shift) / whole; };
    std::vector<OperatingPoint> points;
    for (std::size_t v = 0; v < count; ++v)
        for (std::size_t t = 0; t < count; ++t)
            for (std::size_t e = 0; e < count; ++e)
                points.push_back({bias.at(part(v)), threshold.at(part(t)), energy.at(part(e))});
    return points;
}

} // namespace

std::vector<OperatingPoint> gridPoints(std::size_t steps) {
    return combinations(steps, steps, 0);
}

std::vector<OperatingPoint> gridMidpoints(std::size_t steps) {
    return combinations(steps - 1, steps, 0.5);
}

std::vector<OperatingPoint> gridDrift(std::size_t frames) {
    std::vector<OperatingPoint> points;
    for (std::size_t i = 0; i < frames; ++i) {
        const double part = (static_cast<double>(i) + 0.5) / static_cast<double>(frames);
        points.push_back({bias.at(part), threshold.at(part), energy.at(1 - part)});
    }
    return points;
}

} // namespace ombrel::simulation
