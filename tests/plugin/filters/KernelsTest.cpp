// The kernels against their definitions: logarithms, medians, products.
#include "fixtures/PlainMedian.h"
#include "fixtures/Testing.h"
#include "kernels/FlatField.h"
#include "kernels/Logarithm.h"
#include "kernels/ProcessorDispatch.h"

#include <array>
#include <cstring>
#include <random>

namespace {

using Values = std::vector<double>;

struct LogarithmKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* values, std::size_t count) {
        for (std::size_t i = 0; i + Lanes <= count; i += Lanes) {
            typename PluginOmbrel::Vector<Lanes>::Doubles x;
            std::memcpy(&x, values + i, sizeof x);
            PluginOmbrel::Logarithm<Lanes>::replace(x);
            std::memcpy(values + i, &x, sizeof x);
        }
    }
};

// The logarithms by the variant of each processor that this machine can run, which must agree.
Values logarithmsOf(Values values) {
    values.resize((values.size() + 7) / 8 * 8, 1.0);
    Values single = values;
    LogarithmKernel::run<1>(single.data(), single.size());
    PluginOmbrel::forEachSet([&](const char* set) {
        Values wide = values;
        PluginOmbrel::runWidest<LogarithmKernel>(wide.data(), wide.size());
        EXPECT_EQ(std::memcmp(wide.data(), single.data(), 8 * wide.size()), 0) << set;
    });
    return single;
}

// The distance from the exact logarithm in units of the last place of a double of that size.
double ulpsFromExact(double x, double result) {
    const long double exact = logl(static_cast<long double>(x));
    if (exact == 0)
        return result == 0 ? 0 : INFINITY;
    int exponent = 0;
    frexpl(exact, &exponent);
    return static_cast<double>(fabsl(result - exact) / ldexpl(1, exponent - 53));
}

double worstUlps(const Values& values) {
    const Values results = logarithmsOf(values);
    double worst = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
        worst = std::max(worst, ulpsFromExact(values[i], results[i]));
    return worst;
}

TEST(Logarithm, IsWithinOneUlpOverTheWholeRange) {
    std::mt19937_64 random(11);
    Values everywhere, nearOne, denormal;
    for (int i = 0; i < 200000; ++i) {
        everywhere.push_back(std::bit_cast<double>(1 + random() % 0x7FEFFFFFFFFFFFFF));
        const double distance = std::ldexp(1 + static_cast<double>(random() >> 12) * 0x1p-52, -1 - i % 53);
        nearOne.push_back(i % 2 ? 1 + distance : 1 - distance / 2);
        denormal.push_back(std::bit_cast<double>(1 + random() % 0x000FFFFFFFFFFFFF));
    }
    EXPECT_LT(worstUlps(everywhere), 1);
    EXPECT_LT(worstUlps(nearOne), 1);
    EXPECT_LT(worstUlps(denormal), 1);
    const double rootOfHalf = std::sqrt(0.5); // where the exponent steps
    EXPECT_LT(worstUlps({5e-324, 0x1p-1022, 0x1.fffffffffffffp-1023, 0x1.fffffffffffffp1023, rootOfHalf,
                         std::nextafter(rootOfHalf, 0), std::nextafter(rootOfHalf, 1), std::nextafter(1, 0),
                         std::nextafter(1, 2)}),
              1);
}

TEST(Logarithm, TellsWhatHasNone) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const Values results =
        logarithmsOf({1, 0, -0.0, INFINITY, -1, -5e-324, -INFINITY, notANumber, -notANumber});
    EXPECT_EQ(results[0], 0);
    EXPECT_FALSE(std::signbit(results[0]));
    EXPECT_EQ(results[1], -INFINITY);
    EXPECT_EQ(results[2], -INFINITY);
    EXPECT_EQ(results[3], INFINITY);
    for (std::size_t i = 4; i < 9; ++i)
        EXPECT_TRUE(std::isnan(results[i])) << i;
}

void expectAsBisected(const Values& values, const char* what) {
    const double expected = medianPlainly(values);
    PluginOmbrel::forEachSet([&](const char* set) {
        const double median = PluginOmbrel::medianOf(values);
        ASSERT_TRUE(sameBits(median, expected))
            << what << ", " << values.size() << " values, " << set << ": " << median << " for " << expected;
    });
}

TEST(Median, IsTheMiddleValueOrTheLowerOfTwo) {
    EXPECT_EQ(PluginOmbrel::medianOf(Values{}), 0.0);
    EXPECT_EQ(PluginOmbrel::medianOf(Values{7}), 7.0);
    EXPECT_EQ(PluginOmbrel::medianOf(Values{1, 2, 3, 4}), 2.0);
    EXPECT_EQ(PluginOmbrel::medianOf(Values{5, 1, 4, 2, 3}), 3.0);
    EXPECT_EQ(PluginOmbrel::medianOf(Values{2, 2, 1, 3}), 2.0);
    EXPECT_TRUE(std::isnan(PluginOmbrel::medianOf(Values{-INFINITY, 1, INFINITY})));
    EXPECT_EQ(PluginOmbrel::medianOf(Values{NAN, 1, NAN, 3, 2}), 2.0);
}

struct Kind {
    const char* name;
    std::function<double(std::mt19937_64&)> value;
};

template <std::size_t Count>
auto oneOf(const double (&choice)[Count]) {
    return [values = std::to_array(choice)](std::mt19937_64& random) { return values[random() % Count]; };
}

TEST(Median, HasTheBitsOfTheBisectionOnEveryKindOfTable) {
    constexpr double huge = std::numeric_limits<double>::max();
    constexpr double tiny = std::numeric_limits<double>::denorm_min();
    const Kind kinds[] = {
        {"uniform", std::uniform_real_distribution<double>(0, 1)},
        {"both signs", std::normal_distribution<double>(0, 10)},
        {"ties", [](auto& random) { return static_cast<double>(random() % 5); }},
        {"counts",
         [](auto& random) { return static_cast<double>(std::poisson_distribution<int>(1000)(random)); }},
        {"constant", [](auto&) { return -3.5; }},
        {"zeros of both signs", oneOf({0.0, -0.0, 0.0, -1.0, 1.0})},
        {"negative zeros first", oneOf({-0.0, -0.0, -0.0, 0.0, 2.0, -3.0})},
        {"half zero",
         [](auto& random) { return std::max(0.0, std::uniform_real_distribution<double>(-1, 1)(random)); }},
        {"around a zero", oneOf({-tiny, tiny, 0.0, -0.0, 2 * tiny, -2 * tiny})},
        {"huge", oneOf({huge, huge / 2, huge / 3 * 2, -huge, huge / 1.5})},
        {"any bits but NaN",
         [](auto& random) {
             const double value = std::bit_cast<double>(random());
             return std::isnan(value) ? 0.0 : value;
         }},
        {"any bits", [](auto& random) { return std::bit_cast<double>(random()); }},
        {"a few NaN",
         [](auto& random) { return random() % 50 == 0 ? NAN : static_cast<double>(random() % 100); }},
        {"mostly NaN",
         [](auto& random) { return random() % 3 != 0 ? NAN : static_cast<double>(random() % 100); }},
        {"NaN alone", [](auto&) { return NAN; }},
        {"infinities", oneOf({INFINITY, 1.0, 2.0, 3.0, huge})},
        {"negative infinities", oneOf({-INFINITY, 1.0, 2.0, 3.0})},
    };
    std::mt19937_64 random(11);
    for (const Kind& kind : kinds)
        for (const std::size_t count :
             {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 100u, 101u, 8191u, 8192u, 20001u, 70000u})
            for (int repeat = 0; repeat < (count < 200 ? 50 : 1); ++repeat) {
                Values values(count);
                std::ranges::generate(values, [&] { return kind.value(random); });
                expectAsBisected(values, kind.name);
            }
}

// The sample that narrows the search down is misled by tables that look different where it looks.
TEST(Median, IsRightWhereASampleMisleads) {
    const std::size_t count = 65536;
    Values steps(count), spike(count, 1.0);
    for (std::size_t i = 0; i < count; ++i) {
        steps[i] = i < count / 2 + 1 ? static_cast<double>(i) : 1e9;
        spike[i] = i % 2 ? 1.0 : 1.0 + static_cast<double>(i) * 1e-9;
    }
    expectAsBisected(steps, "steps");
    expectAsBisected(spike, "spike");
    std::ranges::sort(spike);
    expectAsBisected(spike, "sorted");
}

// With whatever makes a product special among them.
Values hostileValues(std::size_t count, unsigned seed) {
    const double specials[] = {0.0, -0.0, INFINITY, -INFINITY, 5e-324, 1e-310, 1e308, -1e308};
    std::mt19937 random(seed);
    Values values(count);
    for (double& value : values)
        value =
            random() % 4 == 0 ? specials[random() % 8] : std::normal_distribution<double>(0, 1000)(random);
    return values;
}

TEST(Multiply, GivesTheProductsWhateverTheLengthTheStartAndTheColumns) {
    const auto expectProducts = [](std::size_t count, std::size_t start, std::size_t columns, auto multiply) {
        const Values before = hostileValues(count + start, 1);
        const Values factors = hostileValues(columns, 2);
        Values expected = before;
        for (std::size_t i = 0; i < count; ++i)
            expected[start + i] *= factors[i % columns];
        PluginOmbrel::forEachSet([&](const char* set) {
            Values pixels = before;
            multiply(std::span(pixels).subspan(start), factors);
            ASSERT_TRUE(sameBits(pixels, expected)) << set;
        });
    };
    for (std::size_t count = 0; count < 70; ++count)
        for (const std::size_t start : {0u, 1u, 3u, 6u})
            expectProducts(count, start, count, PluginOmbrel::multiplyPixels);
    for (const std::size_t columns : {1u, 2u, 7u, 16u, 33u}) // the factors again in each row
        for (const std::size_t count : {0u, 5u, 33u, 100u})
            expectProducts(count, 0, columns, PluginOmbrel::multiplyColumns);
}

} // namespace
