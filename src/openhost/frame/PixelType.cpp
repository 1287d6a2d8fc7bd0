#include "frame/PixelType.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace ombrel {

namespace {

template <typename From, typename To>
[[gnu::always_inline]] inline void castAll(const From* from, To* to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = clampedCast<To>(from[i]);
}

template <typename From, typename To>
[[gnu::target("avx2")]] void castWithAvx2(const From* from, To* to, std::size_t count) {
    castAll(from, to, count);
}

template <typename From, typename To>
void convertAll(const From* from, To* to, std::size_t count) {
    if constexpr (std::is_same_v<From, To>)
        std::memcpy(to, from, count * sizeof(To));
    else if (__builtin_cpu_supports("avx2"))
        castWithAvx2(from, to, count);
    else
        castAll(from, to, count);
}

} // namespace

void convertPixels(const std::byte* from, zt::u8 fromType, std::byte* to, zt::u8 toType, std::size_t count) {
    withPixelType(
        fromType,
        [&](auto fromPixel) {
            withPixelType(
                toType,
                [&](auto toPixel) {
                    convertAll(reinterpret_cast<const decltype(fromPixel)*>(from),
                               reinterpret_cast<decltype(toPixel)*>(to), count);
                });
        });
}

namespace {

template <typename T>
void swapAll(std::span<std::byte> pixels) {
    for (std::size_t at = 0; at + sizeof(T) <= pixels.size(); at += sizeof(T))
        std::reverse(pixels.begin() + at, pixels.begin() + at + sizeof(T));
}

} // namespace

void swapPixelBytes(std::span<std::byte> pixels, std::size_t pixelBytes) {
    if (pixelBytes == 2)
        swapAll<zt::u16>(pixels);
    else if (pixelBytes == 4)
        swapAll<zt::u32>(pixels);
    else if (pixelBytes == 8)
        swapAll<zt::u64>(pixels);
}

float floatOfHalf(zt::u16 half) {
    const float sign = (half & 0x8000) != 0 ? -1.0F : 1.0F;
    const int exponent = half >> 10 & 31;
    const int fraction = half & 0x3ff;
    if (exponent == 31)
        return std::bit_cast<float>((half & 0x8000U) << 16 | 0x7f800000U |
                                    static_cast<zt::u32>(fraction) << 13);
    if (exponent == 0)
        return sign * std::ldexp(static_cast<float>(fraction), -24);
    return sign * std::ldexp(static_cast<float>(fraction + 0x400), exponent - 25);
}

} // namespace ombrel
