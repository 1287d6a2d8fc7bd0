#pragma once

namespace ombrel {

// A grid point of the adaptive filter, with the value of its quality function: the smaller the flatter.
struct ScoredPoint {
    double v = 0;
    double t = 0;
    double e = 0;
    double value = 0;
};

// What a search of the adaptive filter chose, and what came next to it.
struct GridChoice {
    ScoredPoint best;
    ScoredPoint next;       // NaN throughout where there was only one candidate
    bool ambiguous = false; // both values are equal as the filter prints them
};

} // namespace ombrel
