#include "run/GridLines.h"

#include "run/SelectionLogs.h"

#include <algorithm>
#include <compare>
#include <numeric>

namespace ombrel {

namespace {

bool areEqual(const IGridScores::Point& one, const IGridScores::Point& other) {
    return one.v == other.v && one.t == other.t && one.e == other.e;
}

} // namespace

void GridLines::follow(const IGridScores& scores) {
    if (isSame(scores))
        return;
    points.clear();
    coordinates.clear();
    for (std::size_t i = 0; i < scores.candidateCount(); ++i) {
        const auto& [v, t, e] = points.emplace_back(scores.candidate(i));
        coordinates.push_back({loggedNumber(v), loggedNumber(t), loggedNumber(e)});
    }
    for (unsigned axis = 0; axis < axisCount; ++axis)
        arrange(axis);
}

// A new grid or another way of searching changes the candidates, without a word to the host.
bool GridLines::isSame(const IGridScores& scores) const {
    if (scores.candidateCount() != points.size())
        return false;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (!areEqual(scores.candidate(i), points[i]))
            return false;
    return true;
}

void GridLines::arrange(unsigned axis) {
    Axis& lines = axes[axis];
    // A total order, since a damaged grid may have coordinates that are not numbers.
    const auto compare = [&](std::uint32_t one, std::uint32_t other, unsigned along) {
        return std::strong_order(at(along, one), at(along, other));
    };
    const auto compareLines = [&](std::uint32_t one, std::uint32_t other) {
        const auto first = compare(one, other, (axis + 1) % axisCount);
        return first != 0 ? first : compare(one, other, (axis + 2) % axisCount);
    };
    lines.order.resize(points.size());
    std::iota(lines.order.begin(), lines.order.end(), 0u);
    std::ranges::stable_sort(lines.order, [&](std::uint32_t one, std::uint32_t other) {
        const auto order = compareLines(one, other);
        return order != 0 ? order < 0 : compare(one, other, axis) < 0;
    });
    lines.lineOf.resize(points.size());
    lines.longest = 0;
    for (auto begin = lines.order.begin(); begin != lines.order.end();) {
        const auto end = std::find_if(begin, lines.order.end(),
                                      [&](std::uint32_t each) { return compareLines(*begin, each) != 0; });
        const Line line{static_cast<std::uint32_t>(begin - lines.order.begin()),
                        static_cast<std::uint32_t>(end - begin)};
        std::for_each(begin, end, [&](std::uint32_t each) { lines.lineOf[each] = line; });
        lines.longest = std::max(lines.longest, line.length);
        begin = end;
    }
}

std::span<const std::uint32_t> GridLines::line(unsigned axis, std::size_t candidate) const {
    const Line& line = axes[axis].lineOf[candidate];
    return std::span(axes[axis].order).subspan(line.begin, line.length);
}

bool GridLines::isLong(unsigned axis, std::size_t candidate) const {
    return 4 * axes[axis].lineOf[candidate].length >= 3 * axes[axis].longest;
}

} // namespace ombrel
