#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

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
        while (place > 0 && value < values[place - 1]) {
            --place;
        }
        std::shift_right(values.begin() + static_cast<std::ptrdiff_t>(place),
                         values.begin() + static_cast<std::ptrdiff_t>(i) + 1, 1);
        values[place] = value;
    }
}
