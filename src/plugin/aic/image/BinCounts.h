#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Sorts ascending, and gives one defined order also with NaN among the values, where std::sort may run
// astray. Up to 16 values: insertion, in which a NaN stays where the comparisons leave it. More: NaN last.
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

// Counts of values in equal bins over [0, range]: 128 bins, or one for each 128 values where that is more.
// The last bin is for the range's end alone. Keeps its storage from one use to the next.
class BinCounts {
public:
    // Empties the bins for so many values.
    void start(int valueCount, float range);
    int binCount() const { return static_cast<int>(counts.size() / tables); }
    float binWidth() const;

    // False, and counted in part, where no bin takes one of them: a value outside the range or NaN, a bin of
    // -1.
    [[nodiscard]] bool add(std::span<const float> values);
    [[nodiscard]] bool addBins(std::span<const std::int32_t> bins);

    // Values in a bin, as adding them up in single precision tells: 2^24 at most.
    float count(int bin) const;
    // Where the running sum of the bins, each as a portion of all values, first reaches a portion. The
    // position is the bin over the number of bins, though the bins are as wide as if there were one less.
    float quantile(float portion) const;

private:
    // Each bin is counted in turn in several places, since many values in a row may fall into one bin.
    static constexpr std::size_t tables = 4;

    std::vector<std::uint32_t> counts;
    int total = 0;
    float fullRange = 0;
};
