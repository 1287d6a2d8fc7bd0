#pragma once

#include <cstddef>
#include <span>

namespace PluginOmbrel {

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
