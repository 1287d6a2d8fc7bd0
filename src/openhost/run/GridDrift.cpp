#include "run/GridDrift.h"

#include "base/Numbers.h"
#include "run/SelectionLogs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>

namespace ombrel {

namespace {

// For a frame at the end of an axis, the squares of the scores rise as the square of the distance from there;
// the further outside it is, the more evenly they rise. Below this part of the former, it is two steps
// outside. The rest is room for axes on which the flat field changes less and less.
constexpr double surelyOutside = 0.6;
// What a sample adds to all scores makes squares rise evenly, too, but leaves differences as they are, which
// rise as that square where the steps are hardly above the noise of a frame, as in a refined grid.
constexpr double differencesOutside = 0.55;

struct LinePoint {
    double at;
    double score;
};

// The best candidate on a long line, or `none`. In a refined grid the measured points are on lines of their
// own, whose steps are too long: where a sample adds to all scores, their squares rise evenly.
std::size_t bestOnLongLine(const GridLines& lines, unsigned axis, IGridScores& scores,
                           const TwoBest& ranked) {
    for (const std::size_t candidate : {ranked.best, ranked.next})
        if (candidate != IGridScores::none && lines.isLong(axis, candidate))
            return candidate;
    std::size_t best = IGridScores::none;
    float least = 0;
    for (std::size_t i = 0; i < lines.candidateCount(); ++i) {
        if (!lines.isLong(axis, i))
            continue;
        const float score = scores.score(i);
        if (std::isnan(score) || (best != IGridScores::none && score >= least))
            continue;
        best = i;
        least = score;
    }
    return best;
}

// The first three points of the line through a candidate, from there; nothing if it is not at an end of it.
std::optional<std::array<LinePoint, 3>> endOfLine(const GridLines& lines, unsigned axis, IGridScores& scores,
                                                  std::size_t candidate) {
    const auto line = lines.line(axis, candidate);
    const double end = lines.at(axis, candidate);
    const bool isFirst = lines.at(axis, line.front()) == end;
    if (line.size() < 3 || (!isFirst && lines.at(axis, line.back()) != end))
        return std::nullopt;
    std::array<LinePoint, 3> points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const std::uint32_t each = isFirst ? line[i] : line[line.size() - 1 - i];
        points[i] = {lines.at(axis, each), loggedNumber(scores.score(each))};
    }
    return points;
}

// The cells of a refined grid are narrow where the flat field changes fast: more than two steps are counted
// as two.
bool risesEvenly(std::span<const LinePoint> line) {
    const double steps = std::min(2.0, (line[2].at - line[0].at) / (line[1].at - line[0].at));
    const auto isBelow = [&](double part, auto height) {
        const double first = height(line[1].score) - height(line[0].score);
        const double both = height(line[2].score) - height(line[0].score);
        return first > 0 && both < part * steps * steps * first;
    };
    return isBelow(surelyOutside, [](double score) { return score * score; }) &&
           isBelow(differencesOutside, [](double score) { return score; });
}

enum class Side { Within, Below, Above };

Side sideOn(unsigned axis, const GridLines& lines, IGridScores& scores, const TwoBest& ranked) {
    const std::size_t best = bestOnLongLine(lines, axis, scores, ranked);
    if (best == IGridScores::none)
        return Side::Within;
    const auto line = endOfLine(lines, axis, scores, best);
    if (!line || !risesEvenly(*line))
        return Side::Within;
    return (*line)[0].at < (*line)[1].at ? Side::Below : Side::Above;
}

std::string framesText(std::vector<zt::u64> frames) {
    constexpr std::size_t mostListed = 20;
    std::ranges::sort(frames);
    std::string text;
    std::size_t listed = 0;
    for (std::size_t begin = 0, end = 0; begin < frames.size(); begin = end, ++listed) {
        if (listed == mostListed)
            return text + " and more";
        for (end = begin + 1; end < frames.size() && frames[end] == frames[end - 1] + 1;)
            ++end;
        text += (listed == 0 ? "" : ", ") + std::to_string(frames[begin]);
        if (end - begin > 1)
            text += "-" + std::to_string(frames[end - 1]);
    }
    return text;
}

} // namespace

GridSides sidesOutside(const GridLines& lines, IGridScores& scores, const TwoBest& ranked) {
    GridSides sides = 0;
    for (unsigned axis = 0; axis < GridLines::axisCount; ++axis) {
        const Side side = sideOn(axis, lines, scores, ranked);
        if (side != Side::Within)
            sides = static_cast<GridSides>(sides | (1u << (2 * axis + (side == Side::Above ? 1u : 0u))));
    }
    return sides;
}

void DriftNotes::add(zt::u64 frame, GridSides sides) {
    if (sides == 0)
        return;
    frames.push_back(frame);
    all = static_cast<GridSides>(all | sides);
}

std::string DriftNotes::text() const {
    if (frames.empty())
        return {};
    return countText(frames.size(), "frame") + " outside the grid of flat fields (" + sidesText(all) +
           "): " + framesText(frames) +
           "; the best flat field is at its border and the scores fall beyond it, so that more structure is "
           "left: measure flat fields further out";
}

} // namespace ombrel
