#pragma once

#include <cstddef>
#include <span>

namespace PluginOmbrel {

// How finite values lie around two of them, `low` <= `high`.
struct BracketCount {
    double low;
    double high;
    std::size_t belowLow = 0;
    std::size_t upToLow = 0;
    std::size_t belowHigh = 0;
    std::size_t upToHigh = 0;
    bool allFinite = true;
    bool anySignBit = false;
    std::size_t collected = 0; // how many values between the two stand in `between`
    bool collectedAll = true;  // false when there was no room for all of them
};

// Reads the values once. `between` takes those above `low` and below `high`, in their order; it needs room
// for a block of values more than are to be collected.
inline constexpr std::size_t bracketBlock = 8;
void countBracket(std::span<const double> values, std::span<double> between, BracketCount& count);

// The median of at least one value by bisection between the smallest and the largest.
double bisectMedian(std::span<const double> values);

struct RankSelection {
    double value = 0; // of the rank that was asked for; its bits are those of one of the values equal to it
    bool allFinite = true;   // when false, there is no value
    bool anySignBit = false; // whether any value is below zero or a negative zero
};

// The value of a rank, counted from 1, among finite values. Mostly one read of the values: a sample gives two
// values that enclose the rank closely, the read counts how many lie below each and collects the few between
// them.
RankSelection selectRank(std::span<const double> values, std::size_t rank);

} // namespace PluginOmbrel
