#pragma once

#include "zt/Types.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <limits>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The shortest text that reads back as the same number; "inf", "-inf" and "nan" for the rest.
template <typename T>
std::string numberText(T value);
// With six digits, for a reader.
std::string sixDigits(double value);

// The whole text as a number of type T, ignoring blanks around it; nothing if it is not a number or out of
// range.
template <typename T>
std::optional<T> readNumber(std::string_view text);

// "true" or "false", ignoring blanks around it.
std::optional<bool> readBool(std::string_view text);

// "WIDTH x HEIGHT".
inline std::string sizeText(zt::u32 width, zt::u32 height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

// "1 frame", "2 frames".
inline std::string countText(zt::u64 count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

// "14.4 GB", "12 bytes".
inline std::string bytesText(double bytes) {
    constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB", "PB", "EB"};
    std::size_t unit = 0;
    for (; bytes >= 1000 && unit + 1 < std::size(units); ++unit)
        bytes /= 1000;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

// The value of a figure that does not exist.
inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// `values` must not be empty.
inline double meanOf(std::span<const double> values) {
    return std::reduce(values.begin(), values.end()) / static_cast<double>(values.size());
}

// The middle value, the upper one of two; reorders the values. NaN without values.
inline double medianOf(std::span<double> values) {
    if (values.empty())
        return notANumber;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

// The same, and leaves the caller's values in their order.
inline double medianOfCopy(std::vector<double> values) {
    return medianOf(values);
}

// The standard deviation of normally distributed values over the median of their distances from the median.
inline constexpr double madToSigma = 1.4826022185056018;

} // namespace ombrel
