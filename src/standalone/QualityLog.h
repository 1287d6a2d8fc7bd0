#pragma once

#include "standalone/GridChoice.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The adaptive filter opens its log of quality values by a path of less than this many bytes.
inline constexpr std::size_t qualityLogPathLimit = 256;

// One candidate of a search. V, T and E are as the log writes them, by six digits.
struct QualityValue {
    std::string v;
    std::string t;
    std::string e;
    double value = 0;
};

// The candidates of the last search in the log, in the order in which they were tried; what is no number is
// left out. Throws Error when there is no such log.
std::vector<QualityValue> readQualityLog(const std::string& path);

// The candidate with the least value, the earliest of them, and the one next to it; none without candidates.
std::optional<GridChoice> choiceOf(const std::vector<QualityValue>& candidates);

} // namespace ombrel
