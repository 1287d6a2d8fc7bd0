#include "calibration/CoarseGrid.h"

#include <cstddef>

namespace ombrel {

namespace {

bool isThinned(std::size_t count) {
    return count >= 3;
}

// What becomes of a value of an axis.
bool isKeptValue(std::size_t index, std::size_t count) {
    return !isThinned(count) || index % 2 == 0;
}

// The last of an even number of values has no kept one behind it.
bool isWithin(std::size_t index, std::size_t count) {
    return !isThinned(count) || index <= (count - 1) / 2 * 2;
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
        const std::size_t iv = i / (t.size() * e.size());
        const std::size_t it = i / e.size() % t.size();
        const std::size_t ie = i % e.size();
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

} // namespace ombrel
