#pragma once

#include "calibration/CalibrationGrid.h"
#include "run/QualityLog.h"

#include <optional>
#include <string>

namespace ombrel {

// What a search made of a frame whose grid point is known, from its log.
struct SearchOutcome {
    bool isRight =
        false; // the search chose that point: its quality value is the least, and the first of these
    // By how much the least value of the other points is above that of the right one, as part of it: the
    // more, the surer the choice. Below 0 when the search was wrong.
    double margin = 0;
};

// Points are compared by six digits, which is what the log tells. Nothing when the right point was not among
// those searched.
std::optional<SearchOutcome> searchOutcome(const std::string& logText, const GridPoint& right);

} // namespace ombrel
