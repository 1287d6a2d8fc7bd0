#pragma once

#include <cstddef>
#include <span>

namespace PluginOmbrel {

// The distribution of finite values around `low` and `high`, with `low` <= `high`.
struct BracketCount {
    double low;
    double high;
    std::size_t belowLow = 0;
    std::size_t upToLow = 0;
    std::size_t belowHigh = 0;
    std::size_t upToHigh = 0;
    bool allFinite = true;
    bool anySignBit = false;
    std::size_t collected = 0; // number of values stored in `between`
    bool collectedAll = true;  // false when `between` was too small
};

// Reads the values once. `between` receives those above `low` and below `high`, in their order; it must be
// larger than the expected number by one block of values.
inline constexpr std::size_t bracketBlock = 8;
void countBracket(std::span<const double> values, std::span<double> between, BracketCount& count);

// The median of one or more values by bisection between the smallest and the largest.
double bisectMedian(std::span<const double> values);

struct RankSelection {
    double value = 0;        // of the requested rank, with the bits of one of the values equal to it
    bool allFinite = true;   // when false, `value` is not set
    bool anySignBit = false; // whether any value is below zero or a negative zero
};

// The value of a rank, counted from 1, among finite values. Usually reads the values only once: a sample
// yields two values that closely enclose the rank; the read counts how many lie below each and collects the
// few between them.
RankSelection selectRank(std::span<const double> values, std::size_t rank);

} // namespace PluginOmbrel
