#include "fixtures/PlainMedian.h"
#include "fixtures/Testing.h"
#include "kernels/FlatField.h"
#include "kernels/ProcessorDispatch.h"

#include <array>
#include <bit>
#include <cstdint>
#include <random>

namespace {

using Values = std::vector<double>;

void expectAsBisected(const Values& values, const char* what) {
    const double expected = medianPlainly(values);
    for (const bool baseline : {false, true}) {
        PluginOmbrel::useBaselineKernels = baseline;
        const double median = PluginOmbrel::medianOf(values);
        PluginOmbrel::useBaselineKernels = false;
        // Which NaN is meant has no meaning.
        const bool same = std::isnan(expected) ? std::isnan(median)
                                               : std::bit_cast<std::uint64_t>(median) ==
                                                     std::bit_cast<std::uint64_t>(expected);
        ASSERT_TRUE(same) << what << ", " << values.size() << " values: " << median << " for " << expected;
    }
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

} // namespace
