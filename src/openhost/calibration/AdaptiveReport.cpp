#include "calibration/AdaptiveReport.h"

#include "base/Numbers.h"
#include "calibration/AdaptiveSettings.h"
#include "calibration/AdaptiveTuning.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <sstream>

namespace ombrel {

namespace {

// A grid point in the form of the log.
struct LoggedPoint {
    std::string v;
    std::string t;
    std::string e;

    bool operator==(const LoggedPoint&) const = default;
};

std::string streamed(float value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

} // namespace

std::optional<SearchOutcome> searchOutcome(const std::string& logText, const GridPoint& right) {
    const LoggedPoint wanted{streamed(right.v), streamed(right.t), streamed(right.e)};
    constexpr double none = std::numeric_limits<double>::infinity();
    std::optional<double> own;
    double before = none; // the least of the other points before the right one
    double after = none;
    for (const QualityValue& logged : readQualityLog(logText))
        if (LoggedPoint{logged.v, logged.t, logged.e} == wanted)
            own = std::min(own.value_or(none), logged.value);
        else
            (own ? after : before) = std::min(own ? after : before, logged.value);
    if (!own)
        return std::nullopt;
    const double other = std::min(before, after);
    return SearchOutcome{*own < before && *own <= after, other == *own ? 0 : (other - *own) / *own};
}

double leastShare(std::size_t right, std::size_t tried) {
    const auto n = static_cast<double>(tried);
    const auto chance = [&](double share) { // of `right` or more
        double sum = 0;
        for (std::size_t k = right; k <= tried; ++k) {
            const auto hits = static_cast<double>(k);
            sum += std::exp(std::lgamma(n + 1) - std::lgamma(hits + 1) - std::lgamma(n - hits + 1) +
                            hits * std::log(share) + (n - hits) * std::log1p(-share));
        }
        return sum;
    };
    double low = 0;
    double high = 1;
    for (int halving = 0; right > 0 && halving < 40; ++halving) {
        const double middle = (low + high) / 2;
        (chance(middle) < 0.05 ? low : high) = middle;
    }
    return low;
}

std::string coverageText(const TrialResult& result, const TrialCoverage& coverage) {
    char share[32];
    std::snprintf(share, sizeof share, "%.0f %%", 100 * leastShare(result.right.value_or(0), result.frames));
    return countText(result.frames, "frame") + " spread over " + countText(coverage.points, "grid point") +
           " tried against " + countText(coverage.candidates, "flat field") +
           ", near neighbours included: with " + std::to_string(result.right.value_or(0)) +
           " right, at least " + share + " of all are (95 % confidence)\n";
}

namespace {

// The last columns of all tables.
constexpr const char* resultsHeader = "  right     margin%  residual   worst  mosaic  failed  ms/frame\n";

// A column of that width; "-" for an unknown value.
std::string figure(int width, int decimals, double value) {
    char text[64];
    if (std::isfinite(value))
        std::snprintf(text, sizeof text, "  %*.*f", width, decimals, value);
    else
        std::snprintf(text, sizeof text, "  %*s", width, "-");
    return text;
}

std::string resultText(const TrialResult& result) {
    const std::string right =
        result.right ? std::to_string(*result.right) + "/" + std::to_string(result.frames) : "-";
    const bool hasGood = result.failed < result.frames;
    char begin[32];
    std::snprintf(begin, sizeof begin, "  %-8.16s", right.c_str());
    return begin + figure(7, 1, 100 * result.margin.value_or(notANumber)) +
           figure(8, 2, hasGood ? result.residual : notANumber) +
           figure(6, 2, hasGood ? result.worst : notANumber) +
           figure(6, 2, result.mosaicResidual.value_or(notANumber)) +
           figure(6, 0, static_cast<double>(result.failed)) +
           figure(8, 2, 1000 * result.seconds / static_cast<double>(result.frames));
}

std::string choiceText(const TrialResult& result) {
    char text[128];
    std::snprintf(text, sizeof text, "%-14.60s  %-14s  %6d  %4d  %9d",
                  kernelName(adaptiveSetting<std::string>(result.settings, "Kernel")).c_str(),
                  adaptiveSetting<bool>(result.settings, "PPEnabled") ? "on" : "off",
                  adaptiveSetting<int>(result.settings, "QfBorderMaskSize"),
                  adaptiveSetting<int>(result.settings, "QfTileSize"),
                  adaptiveSetting<int>(result.settings, "QfTileThreshold"));
    return text;
}

std::string searchText(const TrialResult& result) {
    const int search = adaptiveSetting<int>(result.settings, "Search");
    const char* name = search == 1 ? "look-around" : search == 2 ? "mosaic" : "linear";
    return std::to_string(search) + " " + name + std::string(12 - std::string(name).size(), ' ');
}

struct TableColumns {
    std::string header;
    std::string (*text)(const TrialResult&);
};

std::string table(std::span<const TrialResult> results, const RowMark& mark, const TableColumns& first) {
    std::string text = first.header + resultsHeader;
    for (std::size_t i = 0; i < results.size(); ++i)
        text += first.text(results[i]) + resultText(results[i]) + (i == mark.row ? "  <- " + mark.text : "") +
                "\n";
    const auto hasNoMargin = [](const TrialResult& result) {
        return !std::isfinite(result.margin.value_or(notANumber));
    };
    if (std::ranges::any_of(results, hasNoMargin))
        text +=
            "margin -: there is no best wrong flat field, since each tile of a mosaic has its own winner, "
            "or the grid has one point, or all frames failed\n";
    return text;
}

} // namespace

std::string choicesTable(std::span<const TrialResult> results, const RowMark& mark) {
    return table(results, mark, {"kernel          pre-processing  border  tile  threshold", choiceText});
}

std::string interpolationTable(std::span<const TrialResult> results, const RowMark& mark) {
    return table(results, mark,
                 {"interpolation",
                  [](const TrialResult& result) {
                      const bool isOn = adaptiveSetting<int>(result.settings, "Interpolation") != 0;
                      return std::string(isOn ? "1 midpoints  " : "0 none       ");
                  }});
}

std::string searchesTable(std::span<const TrialResult> results, const RowMark& mark) {
    std::string text = table(results, mark, {"search        ", searchText});
    const auto lacksTiles = [](const TrialResult& result) {
        return adaptiveSetting<int>(result.settings, "Search") == mosaicSearch &&
               adaptiveSetting<int>(result.settings, "QfTileSize") < 1;
    };
    if (std::ranges::any_of(results, lacksTiles))
        text += "the mosaic fails since it needs tiles, and QfTileSize is 0\n";
    return text;
}

} // namespace ombrel
