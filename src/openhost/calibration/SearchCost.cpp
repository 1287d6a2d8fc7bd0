#include "calibration/SearchCost.h"

#include "calibration/AdaptiveSettings.h"

#include <algorithm>
#include <cmath>

namespace ombrel {

namespace {

// Measured on refined grids of 1,000 to 9,000 flat fields.
constexpr double prunedFactor = 3.5;
constexpr double prunedExponent = 0.65;

} // namespace

bool SearchCost::isPruned(const SettingsTree& settings) {
    return adaptiveSetting<int>(settings, "QfTileSize") < 1;
}

double SearchCost::scoresOf(std::size_t flatFields) const {
    const auto all = static_cast<double>(flatFields);
    return prunes ? std::min(all, prunedFactor * std::pow(all, prunedExponent)) : all;
}

double SearchCost::mostFlatFields(double seconds) const {
    const double scores = seconds / secondsOfScore;
    return prunes ? std::max(scores, std::pow(scores / prunedFactor, 1 / prunedExponent)) : scores;
}

} // namespace ombrel
