#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

namespace ombrel {

namespace clamped_cast {

template <typename To, typename From>
constexpr To clampedInteger(From value) {
    if (std::cmp_less(value, std::numeric_limits<To>::min()))
        return std::numeric_limits<To>::min();
    if (std::cmp_greater(value, std::numeric_limits<To>::max()))
        return std::numeric_limits<To>::max();
    return static_cast<To>(value);
}

// To at most 32 bits, without a branch or a call, so that loops over it become vector code on any x86-64:
// adding 1.5 * 2^52 rounds to the nearest integer and leaves it, as two's complement, in the low bits of the
// sum.
template <typename To>
To roundedSmall(double value) {
    constexpr double low = std::numeric_limits<To>::min();
    constexpr double high = std::numeric_limits<To>::max();
    value = value == value ? value : 0.0;
    value = value > low ? value : low;
    value = value < high ? value : high;
    return static_cast<To>(static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + 0x1.8p52)));
}

// To 64 bits, whose greatest values are no doubles. `Real` is double, or long double, which holds them all.
template <typename To, typename Real>
To roundedWide(Real value) {
    // The first value above the range, a power of two.
    constexpr Real end = Real{2} * static_cast<Real>(To{1} << (std::numeric_limits<To>::digits - 1));
    if (value != value)
        return 0;
    const Real rounded = std::nearbyint(value);
    if (rounded >= end)
        return std::numeric_limits<To>::max();
    if (rounded <= static_cast<Real>(std::numeric_limits<To>::min()))
        return std::numeric_limits<To>::min();
    return static_cast<To>(rounded);
}

} // namespace clamped_cast

// The value as a number of type To. To integers: rounded to the nearest (halves to even), clamped to the
// range, NaN becomes 0. To float: rounded to the nearest, infinite beyond the range.
template <typename To, typename From>
To clampedCast(From value) {
    if constexpr (std::is_floating_point_v<To>)
        return static_cast<To>(value);
    else if constexpr (std::is_integral_v<From>)
        return clamped_cast::clampedInteger<To>(value);
    else if constexpr (sizeof(To) <= 4)
        return clamped_cast::roundedSmall<To>(static_cast<double>(value));
    else
        return clamped_cast::roundedWide<To>(value);
}

} // namespace ombrel
