#pragma once

#include "zt/Types.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

namespace ombrel {

// The ten pixel types are the codes 0 to 9 of zt::DataType.
constexpr bool isPixelType(zt::u8 code) {
    return code <= zt::DT_DOUBLE;
}

// Calls `work` with a value of the C++ type of a pixel type, so that `decltype` names it:
//     withPixelType(code, [&](auto pixel) { using T = decltype(pixel); ... });
template <typename Work>
decltype(auto) withPixelType(zt::u8 code, Work&& work) {
    switch (code) {
    case zt::DT_I8:
        return work(zt::i8{});
    case zt::DT_U8:
        return work(zt::u8{});
    case zt::DT_I16:
        return work(zt::i16{});
    case zt::DT_U16:
        return work(zt::u16{});
    case zt::DT_I32:
        return work(zt::i32{});
    case zt::DT_U32:
        return work(zt::u32{});
    case zt::DT_I64:
        return work(zt::i64{});
    case zt::DT_U64:
        return work(zt::u64{});
    case zt::DT_FLOAT:
        return work(float{});
    case zt::DT_DOUBLE:
        return work(double{});
    default:
        throw std::invalid_argument("not a pixel type");
    }
}

// Bytes of one pixel.
inline std::size_t pixelSize(zt::u8 code) {
    return withPixelType(
        code, [](auto pixel) { return sizeof(pixel); });
}

// "u16", "f32" and so on, as in options and messages.
constexpr std::string_view pixelTypeName(zt::u8 code) {
    constexpr std::string_view names[] = {"i8", "u8", "i16", "u16", "i32", "u32", "i64", "u64", "f32", "f64"};
    return isPixelType(code) ? names[code] : "unknown";
}

namespace clamped_cast {

template <typename To, typename From>
constexpr To clampedInteger(From value) {
    if (std::cmp_less(value, std::numeric_limits<To>::min()))
        return std::numeric_limits<To>::min();
    if (std::cmp_greater(value, std::numeric_limits<To>::max()))
        return std::numeric_limits<To>::max();
    return static_cast<To>(value);
}

// To at most 32 bits, without a branch or a call, so that loops over it are vectorized on any x86-64: adding
// 1.5 * 2^52 rounds to the nearest integer, which is then in the low bits of the sum, in two's complement.
template <typename To>
To roundedSmall(double value) {
    constexpr double low = std::numeric_limits<To>::min();
    constexpr double high = std::numeric_limits<To>::max();
    value = value == value ? value : 0.0;
    value = value > low ? value : low;
    value = value < high ? value : high;
    return static_cast<To>(static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + 0x1.8p52)));
}

// To 64 bits, whose greatest values are not exact in double. `Real` is double, or long double, which is exact
// for all of them.
template <typename To, typename Real>
To roundedWide(Real value) {
    // The first value above the range, which is a power of two.
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

// Converts `count` pixels. To an integer type values are rounded to the nearest (halves to even) and clamped
// to its range, and NaN becomes 0; to float, values beyond its range become infinite. The arrays must not
// overlap.
void convertPixels(const std::byte* from, zt::u8 fromType, std::byte* to, zt::u8 toType, std::size_t count);

// Reverses the bytes of each pixel, for pixels stored by a processor of the other byte order.
void swapPixelBytes(std::span<std::byte> pixels, std::size_t pixelBytes);

// The value of a 16-bit floating-point number, exactly.
float floatOfHalf(zt::u16 half);

} // namespace ombrel
