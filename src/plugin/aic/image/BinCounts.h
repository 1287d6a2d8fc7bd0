#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Sorts ascending, in a defined order even with NaN among the values, where std::sort has undefined
// behaviour. Up to 16 values: insertion sort, in which a NaN stays where the comparisons leave it. More: NaN
// last.
inline void sortAscending(std::span<float> values) {
    constexpr std::size_t shortList = 16;
    if (values.size() > shortList) {
        const auto nans =
            std::partition(values.begin(), values.end(), [](float value) { return !std::isnan(value); });
        std::sort(values.begin(), nans);
        return;
    }
    for (std::size_t i = 1; i < values.size(); ++i) {
        const float value = values[i];
        std::size_t place = value < values[0] ? 0 : i;
        while (place > 0 && value < values[place - 1])
            --place;
        std::shift_right(values.begin() + static_cast<std::ptrdiff_t>(place),
                         values.begin() + static_cast<std::ptrdiff_t>(i) + 1, 1);
        values[place] = value;
    }
}

// Counts of values in equal bins over [0, range]: 128 bins, or one for each 128 values if that is more. The
// last bin only holds values at the end of the range. The storage is reused.
class BinCounts {
public:
    // Clears the bins for this number of values.
    void start(int valueCount, float range);
    int binCount() const { return static_cast<int>(counts.size() / tables); }
    float binWidth() const;

    // Returns false, with the values counted in part, when one of them fits no bin: a value outside the range
    // or NaN, a bin of -1.
    [[nodiscard]] bool add(std::span<const float> values);
    [[nodiscard]] bool addBins(std::span<const std::int32_t> bins);

    // Number of values in a bin as counted in single precision, which stops at 2^24.
    float count(int bin) const;
    // The position where the running sum of the bins, each divided by the number of values, first reaches
    // `portion`. The position is bin / number of bins, although the width of a bin is that for one bin less.
    float quantile(float portion) const;

private:
    // Each bin has several counters, used in turn, since consecutive values often fall into the same bin.
    static constexpr std::size_t tables = 4;

    std::vector<std::uint32_t> counts;
    int total = 0;
    float fullRange = 0;
};
