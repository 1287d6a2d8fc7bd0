#include "base/Numbers.h"
#include "run/SelectionLogs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>

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

using Label = std::string QualityValue::*;

double labelOf(const QualityValue& candidate, Label axis) {
    return readNumber<double>(candidate.*axis).value_or(notANumber);
}

bool areOnOneLine(const QualityValue& one, const QualityValue& other, const std::array<Label, 3>& axes) {
    return one.*axes[1] == other.*axes[1] && one.*axes[2] == other.*axes[2];
}

// The best candidate on a line of about as many candidates as any. In a refined grid the measured points are
// on lines of their own, whose steps are too long: where a sample adds to all scores, their squares rise
// evenly.
const QualityValue& bestOnLongLine(std::span<const QualityValue> candidates,
                                   const std::array<Label, 3>& axes) {
    std::map<std::pair<std::string, std::string>, std::size_t> lengths;
    std::size_t longest = 0;
    const auto lengthOf = [&](const QualityValue& candidate) -> std::size_t& {
        return lengths[{candidate.*axes[1], candidate.*axes[2]}];
    };
    for (const QualityValue& candidate : candidates)
        longest = std::max(longest, ++lengthOf(candidate));
    return *std::ranges::min_element(candidates, {}, [&](const QualityValue& candidate) {
        return std::pair(4 * lengthOf(candidate) < 3 * longest, candidate.value);
    });
}

// The candidates that differ from the best on that axis alone, the best first, then away from it.
std::vector<LinePoint> lineThrough(std::span<const QualityValue> candidates, const QualityValue& best,
                                   const std::array<Label, 3>& axes) {
    std::vector<LinePoint> line;
    for (const QualityValue& candidate : candidates)
        if (areOnOneLine(candidate, best, axes))
            line.push_back({labelOf(candidate, axes[0]), candidate.value});
    std::ranges::sort(line, {}, &LinePoint::at);
    if (!line.empty() && line.front().at != labelOf(best, axes[0]))
        std::ranges::reverse(line);
    return line;
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

Side sideOn(std::span<const QualityValue> candidates, const std::array<Label, 3>& axes) {
    const QualityValue& best = bestOnLongLine(candidates, axes);
    const auto line = lineThrough(candidates, best, axes);
    if (line.size() < 3 || line[0].at != labelOf(best, axes[0]))
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
    if (candidates.empty())
        return 0;
    constexpr Label v = &QualityValue::v, t = &QualityValue::t, e = &QualityValue::e;
    GridSides sides = 0;
    for (unsigned axis = 0;
         const auto& axes : {std::array{v, t, e}, std::array{t, v, e}, std::array{e, v, t}}) {
        const Side side = sideOn(candidates, axes);
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
