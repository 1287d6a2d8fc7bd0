#include "fixtures/Testing.h"
#include "frame/PixelType.h"

#include <random>

using namespace ombrel;

namespace {

// The definition, in a type that holds every pixel of every type exactly.
template <typename To>
To plainConversion(long double value) {
    static_assert(std::numeric_limits<long double>::digits >= 64);
    if constexpr (std::is_floating_point_v<To>)
        return static_cast<To>(value);
    if (std::isnan(value))
        return 0;
    const long double rounded = std::nearbyint(value);
    if (rounded < static_cast<long double>(std::numeric_limits<To>::lowest()))
        return std::numeric_limits<To>::lowest();
    if (rounded > static_cast<long double>(std::numeric_limits<To>::max()))
        return std::numeric_limits<To>::max();
    return static_cast<To>(rounded);
}

// Everything at which a conversion can go wrong: the ends of all ranges, halves, what double can't hold, NaN.
std::vector<long double> hostileValues() {
    std::vector<long double> values{
        0.0L,    -0.0L,  0.5L,  1.5L,    2.5L,   -0.5L,   -1.5L,    0.49999999999999994L,
        5e-324L, 1e-40L, 1e38L, 3.5e38L, 1e300L, -1e300L, INFINITY, -INFINITY,
        NAN,     -NAN};
    for (const int bits : {7, 8, 15, 16, 24, 31, 32, 51, 52, 53, 63, 64})
        for (const long double offset : {-1.5L, -1.0L, -0.5L, 0.0L, 0.5L, 1.0L, 1.5L})
            for (const long double sign : {1.0L, -1.0L})
                values.push_back(sign * (std::ldexp(1.0L, bits) + offset));
    std::mt19937_64 random(7);
    for (int i = 0; i < 200; ++i)
        values.push_back(std::ldexp(static_cast<long double>(static_cast<zt::i64>(random())), i % 70 - 60));
    return values;
}

template <typename From, typename To>
void expectPlainResults() {
    std::vector<From> from{From{}}; // so that the values that are converted do not begin at an aligned place
    for (const long double value : hostileValues())
        from.push_back(plainConversion<From>(value));
    const std::size_t count = from.size() - 1;
    std::vector<To> to(count);
    const auto code = [](auto type) {
        for (zt::u8 each = 0;; ++each)
            if (withPixelType(each,
                              [&](auto pixel) { return std::is_same_v<decltype(pixel), decltype(type)>; }))
                return each;
    };
    convertPixels(reinterpret_cast<const std::byte*>(&from[1]), code(From{}),
                  reinterpret_cast<std::byte*>(to.data()), code(To{}), count);
    for (std::size_t i = 0; i < count; ++i) {
        const To expected = plainConversion<To>(from[i + 1]);
        if (expected != expected)
            EXPECT_NE(to[i], to[i]);
        else
            EXPECT_EQ(to[i], expected) << "from " << +from[i + 1] << " of type "
                                       << pixelTypeName(code(From{})) << " to " << pixelTypeName(code(To{}));
    }
}

} // namespace

TEST(PixelConversion, EveryPairOfTypesFollowsTheDefinition) {
    for (zt::u8 from = 0; from <= zt::DT_DOUBLE; ++from)
        for (zt::u8 to = 0; to <= zt::DT_DOUBLE; ++to)
            withPixelType(
                from,
                [&](auto fromPixel) {
                    withPixelType(
                        to,
                        [](auto toPixel) { expectPlainResults<decltype(fromPixel), decltype(toPixel)>(); });
                });
}
