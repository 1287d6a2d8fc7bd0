#include "calibration/CalibrationGrid.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

namespace ombrel {

namespace {

// The point as an argument of --hole.
std::string pointText(const GridPoint& point) {
    return numberText(point.v) + "," + numberText(point.t) + "," + numberText(point.e);
}

void refuseInfinite(std::span<const GridPoint> points) {
    for (const GridPoint& point : points)
        if (!std::isfinite(point.v) || !std::isfinite(point.t) || !std::isfinite(point.e))
            throw Error("grid point " + pointText(point) + ": V, T and E must be finite numbers");
}

std::vector<float> axisValues(std::span<const GridPoint> points, float GridPoint::*axis) {
    std::vector<float> values;
    for (const GridPoint& point : points)
        values.push_back(point.*axis + 0.0f); // not -0
    std::ranges::sort(values);
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

} // namespace

CalibrationGrid::CalibrationGrid(std::span<const GridPoint> taken, std::span<const GridPoint> holes) {
    refuseInfinite(taken);
    refuseInfinite(holes);
    if (taken.empty())
        throw Error("the grid has no points");
    vValues = axisValues(taken, &GridPoint::v);
    tValues = axisValues(taken, &GridPoint::t);
    eValues = axisValues(taken, &GridPoint::e);

    std::vector<Entry> entries;
    for (std::size_t i = 0; i < taken.size(); ++i)
        entries.push_back({taken[i], i});
    for (const GridPoint& hole : holes) {
        if (!contains(hole))
            throw Error("hole " + pointText(hole) + ": the grid has no such point");
        entries.push_back({hole, std::nullopt});
    }
    std::ranges::stable_sort(entries, {}, &Entry::point);
    refuseRepeated(entries);
    refuseMissing(entries);
    if (!entries.front().taken)
        throw Error("hole " + pointText(entries.front().point) +
                    ": the first grid point cannot be a hole, since its image defines the size of all");
    for (const Entry& entry : entries)
        order.push_back(entry.taken);
}

bool CalibrationGrid::contains(const GridPoint& point) const {
    return std::ranges::binary_search(vValues, point.v) && std::ranges::binary_search(tValues, point.t) &&
           std::ranges::binary_search(eValues, point.e);
}

void CalibrationGrid::refuseRepeated(std::span<const Entry> entries) const {
    const auto repeated = std::ranges::adjacent_find(entries, {}, &Entry::point);
    if (repeated == entries.end())
        return;
    const bool bothTaken = repeated[0].taken && repeated[1].taken;
    throw Error("grid point " + pointText(repeated->point) +
                (bothTaken ? " is named twice" : " is a hole and also has a file"));
}

void CalibrationGrid::refuseMissing(std::span<const Entry> entries) const {
    if (entries.size() == size())
        return;
    constexpr std::size_t mostListed = 50;
    const std::size_t missing = size() - entries.size();
    std::string list;
    auto next = entries.begin();
    for (std::size_t i = 0, listed = 0; listed < std::min(missing, mostListed); ++i) {
        const GridPoint point{vValues[i / (tValues.size() * eValues.size())],
                              tValues[i / eValues.size() % tValues.size()], eValues[i % eValues.size()]};
        if (next != entries.end() && next->point == point) {
            ++next;
            continue;
        }
        list += (listed++ == 0 ? "" : "; ") + pointText(point);
    }
    throw Error(std::to_string(missing) + " of " + std::to_string(size()) + " grid points " +
                (missing == 1 ? "is" : "are") + " missing: " + list +
                (missing > mostListed ? " and more" : "") +
                "; add a file for each, or mark it as a hole with --hole");
}

namespace {

bool isThinned(std::size_t count) {
    return count >= 3;
}

// Whether the coarse grid keeps a value of an axis.
bool isKeptValue(std::size_t index, std::size_t count) {
    return !isThinned(count) || index % 2 == 0;
}

// The last of an even number of values has no kept value after it.
bool isWithin(std::size_t index, std::size_t count) {
    return !isThinned(count) || index <= (count - 1) / 2 * 2;
}

// The indices of a grid point on the three axes.
struct AxisIndices {
    std::size_t v;
    std::size_t t;
    std::size_t e;
};

AxisIndices axisIndices(const CalibrationGrid& grid, std::size_t point) {
    return {point / (grid.t().size() * grid.e().size()), point / grid.e().size() % grid.t().size(),
            point % grid.e().size()};
}

} // namespace

std::optional<CoarseGrid> coarseGridOf(const CalibrationGrid& grid) {
    const auto &v = grid.v(), &t = grid.t(), &e = grid.e();
    if (!isThinned(v.size()) && !isThinned(t.size()) && !isThinned(e.size()))
        return std::nullopt;
    std::vector<GridPoint> points;
    std::vector<bool> kept;
    std::vector<bool> between;
    for (std::size_t i = 0; i < grid.points().size(); ++i) {
        const auto [iv, it, ie] = axisIndices(grid, i);
        kept.push_back(isKeptValue(iv, v.size()) && isKeptValue(it, t.size()) && isKeptValue(ie, e.size()));
        between.push_back(!kept[i] && isWithin(iv, v.size()) && isWithin(it, t.size()) &&
                          isWithin(ie, e.size()));
        if (!kept[i])
            continue;
        if (!grid.points()[i])
            return std::nullopt;
        points.push_back({v[iv], t[it], e[ie]});
    }
    return CoarseGrid{CalibrationGrid(points, {}), std::move(kept), std::move(between)};
}

namespace {

bool isTriedValue(std::size_t index, std::size_t count) {
    const std::size_t middle = (count - 1) / 2;
    return index <= 1 || index == middle || index == middle + 1 || index + 2 >= count;
}

} // namespace

TrialGrid trialGridOf(const CalibrationGrid& grid) {
    const auto &v = grid.v(), &t = grid.t(), &e = grid.e();
    const bool isSmall = grid.points().size() <= mostTrialPoints;
    std::vector<GridPoint> points;
    std::vector<GridPoint> holes;
    std::vector<bool> kept;
    for (std::size_t i = 0; i < grid.points().size(); ++i) {
        const auto [iv, it, ie] = axisIndices(grid, i);
        kept.push_back(isSmall || (isTriedValue(iv, v.size()) && isTriedValue(it, t.size()) &&
                                   isTriedValue(ie, e.size())));
        if (kept[i])
            (grid.points()[i] ? points : holes).push_back({v[iv], t[it], e[ie]});
    }
    // A value whose points are all holes is not part of the trial grid.
    std::erase_if(holes, [&](const GridPoint& hole) {
        return std::ranges::find(points, hole.v, &GridPoint::v) == points.end() ||
               std::ranges::find(points, hole.t, &GridPoint::t) == points.end() ||
               std::ranges::find(points, hole.e, &GridPoint::e) == points.end();
    });
    return {CalibrationGrid(points, holes), std::move(kept)};
}

} // namespace ombrel
