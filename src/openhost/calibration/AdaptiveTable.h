#pragma once

#include "calibration/AdaptiveTrial.h"

#include <cstddef>
#include <span>
#include <string>

namespace ombrel {

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
