#pragma once

#include "store/CalibrationImages.h"

#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

// A candidate that a search tried. The search may have left out its score when the score is surely above
// those of the two best.
struct ScoredCandidate {
    c_CalibrationImages::Position point;
    std::optional<float> score;

    bool isRanked() const { return score && !std::isnan(*score); }
};

// The candidates of the last search, in the order in which they were tried.
struct SearchRecord {
    std::vector<ScoredCandidate> candidates;
    bool complete = false; // the search came to its end

    void clear() {
        candidates.clear();
        complete = false;
    }
    // The candidate with the least score, except for one candidate; of equal ones the first.
    std::optional<std::size_t> least(std::optional<std::size_t> except = std::nullopt) const {
        std::optional<std::size_t> found;
        for (std::size_t i = 0; i < candidates.size(); ++i)
            if (candidates[i].isRanked() && i != except &&
                (!found || *candidates[i].score < *candidates[*found].score))
                found = i;
        return found;
    }
};
