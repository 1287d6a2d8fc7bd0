#pragma once

#include "calibration/AdaptiveTrial.h"
#include "calibration/CalibrationGrid.h"
#include "run/SelectionLogs.h"

#include <cstddef>
#include <optional>
#include <span>
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

// Results of trials as tables for people; one row of them may end in a remark.

struct RowMark {
    std::size_t row = 0;
    std::string text;
};

// One row for each choice of kernel, pre-processing, border, tile size and threshold.
std::string choicesTable(std::span<const TrialResult> results, const RowMark& mark);
// One row for each kind of interpolation.
std::string interpolationTable(std::span<const TrialResult> results, const RowMark& mark);
// One row for each search.
std::string searchesTable(std::span<const TrialResult> results, const RowMark& mark);

} // namespace ombrel
