#pragma once

#include "calibration/AdaptiveTrial.h"
#include "calibration/CalibrationGrid.h"
#include "run/SelectionLogs.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace ombrel {

// The result of a search for a frame whose grid point is known, read from its log.
struct SearchOutcome {
    // Whether the search chose that point: its quality value is the first of the least ones.
    bool isRight = false;
    // The difference between the least value of the other points and that of the right one, relative to the
    // latter: the larger, the safer the choice. Below 0 if the search was wrong.
    double margin = 0;
};

// Points are compared by six digits, the precision of the log. Nothing if the right point was not among those
// searched.
std::optional<SearchOutcome> searchOutcome(const std::string& logText, const GridPoint& right);

// The selection of the frames of a trial.
struct TrialCoverage {
    std::size_t points = 0;     // that the frames were selected from
    std::size_t candidates = 0; // flat fields that each frame is divided by
};

// What a trial of a few frames says about all, in one line.
std::string coverageText(const TrialResult& result, const TrialCoverage& coverage);

// The least share of right frames that makes `right` or more of `tried` likely: the lower limit of Clopper
// and Pearson (1934) with 95 % confidence.
double leastShare(std::size_t right, std::size_t tried);

// Results of trials as tables for people; a remark may be appended to one row.

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
