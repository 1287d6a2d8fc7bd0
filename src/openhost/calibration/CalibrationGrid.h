#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// The settings that one flat field of an adaptive calibration was taken at. The user chooses what V, T and E
// measure.
struct GridPoint {
    float v = 0;
    float t = 0;
    float e = 0;

    auto operator<=>(const GridPoint&) const = default;
};

// A complete grid: every combination of the values of V, T and E that occur, each with its flat field or
// marked as a hole.
class CalibrationGrid {
public:
    // The points of the flat fields, in any order, and the holes. Throws Error, in one line, for a setting
    // that is not finite, a repeated point, missing points (listed), a hole outside of the grid, and a hole
    // at the first point, whose image defines the size of all images.
    CalibrationGrid(std::span<const GridPoint> taken, std::span<const GridPoint> holes);

    // The values on each axis, ascending.
    const std::vector<float>& v() const { return vValues; }
    const std::vector<float>& t() const { return tValues; }
    const std::vector<float>& e() const { return eValues; }

    // For each grid point, E fastest and V slowest: its index in `taken`, or nothing for a hole.
    const std::vector<std::optional<std::size_t>>& points() const { return order; }

private:
    struct Entry {
        GridPoint point;
        std::optional<std::size_t> taken;
    };

    std::size_t size() const { return vValues.size() * tValues.size() * eValues.size(); }
    bool contains(const GridPoint& point) const;
    // `entries` are sorted.
    void refuseRepeated(std::span<const Entry> entries) const;
    void refuseMissing(std::span<const Entry> entries) const;

    std::vector<float> vValues;
    std::vector<float> tValues;
    std::vector<float> eValues;
    std::vector<std::optional<std::size_t>> order;
};

// Every second value of each axis that has three or more. The midpoints of this grid have been measured, so
// interpolation can be tried on them.
struct CoarseGrid {
    CalibrationGrid grid;
    // For each point of the whole grid, in its order:
    std::vector<bool> isKept;
    std::vector<bool> isBetween; // left out, but lies between points that are kept
};

// Nothing if no axis has three values, or if a point to keep is a hole.
std::optional<CoarseGrid> coarseGridOf(const CalibrationGrid& grid);

// The part of a large grid that settings are tried on: pairs of neighbouring values at the beginning, in the
// middle and at the end of each axis. The time of a trial does not grow with the grid, and a test frame still
// meets the flat fields that are easily mistaken for its own.
struct TrialGrid {
    CalibrationGrid grid;
    std::vector<bool> isKept; // for each point of the whole grid, in its order
};

// All of a grid of up to mostTrialPoints.
TrialGrid trialGridOf(const CalibrationGrid& grid);
inline constexpr std::size_t mostTrialPoints = 216;

} // namespace ombrel
