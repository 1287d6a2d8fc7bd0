#include "base/Numbers.h"
#include "run/SelectionLogs.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ombrel {

namespace {

// For a frame at the end of an axis, the squares of the scores rise as the square of the distance from there;
// the further outside it is, the more evenly they rise. Below this part of the former, it is two steps
// outside. The rest is room for axes on which the flat field changes less and less.
constexpr double surelyOutside = 0.6;

struct LinePoint {
    double at;
    double square; // of the score
};

using Label = std::string QualityValue::*;

double labelOf(const QualityValue& candidate, Label axis) {
    return readNumber<double>(candidate.*axis).value_or(notANumber);
}

// The candidates that differ from the winner on that axis alone, the winner first, then away from it.
std::vector<LinePoint> lineThrough(std::span<const QualityValue> candidates, const QualityValue& winner,
                                   const std::array<Label, 3>& axes) {
    std::vector<LinePoint> line;
    for (const QualityValue& candidate : candidates)
        if (candidate.*axes[1] == winner.*axes[1] && candidate.*axes[2] == winner.*axes[2])
            line.push_back({labelOf(candidate, axes[0]), candidate.value * candidate.value});
    std::ranges::sort(line, {}, &LinePoint::at);
    if (!line.empty() && line.front().at != labelOf(winner, axes[0]))
        std::ranges::reverse(line);
    return line;
}

bool risesEvenly(std::span<const LinePoint> line) {
    const double first = line[1].square - line[0].square;
    const double both = line[2].square - line[0].square;
    const double steps = (line[2].at - line[0].at) / (line[1].at - line[0].at);
    return first > 0 && both < surelyOutside * steps * steps * first;
}

enum class Side { Within, Below, Above };

Side sideOn(std::span<const QualityValue> candidates, const QualityValue& winner,
            const std::array<Label, 3>& axes) {
    const auto line = lineThrough(candidates, winner, axes);
    if (line.size() < 3 || line[0].at != labelOf(winner, axes[0]))
        return Side::Within;
    if (!risesEvenly(line))
        return Side::Within;
    return line[0].at < line[1].at ? Side::Below : Side::Above;
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

GridSides sidesOutside(std::span<const QualityValue> candidates) {
    const auto winner = std::ranges::min_element(candidates, {}, &QualityValue::value);
    if (winner == candidates.end())
        return 0;
    constexpr Label v = &QualityValue::v, t = &QualityValue::t, e = &QualityValue::e;
    GridSides sides = 0;
    for (unsigned axis = 0;
         const auto& axes : {std::array{v, t, e}, std::array{t, v, e}, std::array{e, v, t}}) {
        const Side side = sideOn(candidates, *winner, axes);
        if (side != Side::Within)
            sides = static_cast<GridSides>(sides | (1u << (2 * axis + (side == Side::Above ? 1u : 0u))));
        ++axis;
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
