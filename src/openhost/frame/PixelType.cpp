#include "frame/PixelType.h"

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

} // namespace ombrel
