#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// The settings that one flat field of an adaptive calibration was taken at. What V, T and E measure is the
// user's choice.
struct GridPoint {
    float v = 0;
    float t = 0;
    float e = 0;

    auto operator<=>(const GridPoint&) const = default;
};

// A whole grid: every combination of the values of V, T and E that occur, each with its flat field or left
// out on purpose.
class CalibrationGrid {
public:
    // The points that flat fields were taken at, in any order, and those left out. Throws Error, in one line,
    // for a setting that is no finite number, a point named twice, points that are missing (they are listed),
    // a hole that is no grid point, and a hole at the first one, whose image tells the size of all.
    CalibrationGrid(std::span<const GridPoint> taken, std::span<const GridPoint> holes);

    // The values on each axis, ascending.
    const std::vector<float>& v() const { return vValues; }
    const std::vector<float>& t() const { return tValues; }
    const std::vector<float>& e() const { return eValues; }

    // For each grid point, E fastest and V slowest: which of the points taken it is, or nothing for a hole.
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

// Every second value of each axis that has three or more: a grid whose midpoints have been measured, so that
// interpolation can be tried on them.
struct CoarseGrid {
    CalibrationGrid grid;
    // For each point of the whole grid, in its order:
    std::vector<bool> isKept;
    std::vector<bool> isBetween; // left out, but between points that are kept
};

// Nothing when no axis has three values, or a point that would be kept is a hole.
std::optional<CoarseGrid> coarseGridOf(const CalibrationGrid& grid);

} // namespace ombrel
