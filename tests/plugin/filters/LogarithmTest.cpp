#include "kernels/Logarithm.h"

#include "fixtures/Testing.h"

#include <bit>
#include <cstring>
#include <random>

namespace {

using PluginOmbrel::Logarithm;
using PluginOmbrel::Vector;

struct LogarithmKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* values, std::size_t count) {
        for (std::size_t i = 0; i + Lanes <= count; i += Lanes) {
            typename Vector<Lanes>::Doubles x;
            std::memcpy(&x, values + i, sizeof x);
            Logarithm<Lanes>::replace(x);
            std::memcpy(values + i, &x, sizeof x);
        }
    }
};

// The logarithms by the variant of each processor that this machine can stand for, which must agree.
std::vector<double> logarithmsOf(std::vector<double> values) {
    values.resize((values.size() + 3) / 4 * 4, 1.0);
    std::vector<double> baseline = values;
    PluginOmbrel::runOnAnyProcessor<LogarithmKernel>(baseline.data(), baseline.size());
    std::vector<double> single = values;
    LogarithmKernel::run<1>(single.data(), single.size());
    EXPECT_EQ(std::memcmp(single.data(), baseline.data(), 8 * single.size()), 0);
    if (PluginOmbrel::processorHasAvx2()) {
        std::vector<double> wide = values;
        PluginOmbrel::runWithAvx2<LogarithmKernel>(wide.data(), wide.size());
        EXPECT_EQ(std::memcmp(wide.data(), baseline.data(), 8 * wide.size()), 0);
    }
    return baseline;
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

double worstUlps(const std::vector<double>& values) {
    const std::vector<double> results = logarithmsOf(values);
    double worst = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
        worst = std::max(worst, ulpsFromExact(values[i], results[i]));
    return worst;
}

TEST(Logarithm, IsWithinOneUlpOverTheWholeRange) {
    std::mt19937_64 random(11);
    std::vector<double> everywhere, nearOne, denormal;
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
    const std::vector<double> results =
        logarithmsOf({1, 0, -0.0, INFINITY, -1, -5e-324, -INFINITY, notANumber, -notANumber});
    EXPECT_EQ(results[0], 0);
    EXPECT_FALSE(std::signbit(results[0]));
    EXPECT_EQ(results[1], -INFINITY);
    EXPECT_EQ(results[2], -INFINITY);
    EXPECT_EQ(results[3], INFINITY);
    for (std::size_t i = 4; i < 9; ++i)
        EXPECT_TRUE(std::isnan(results[i])) << i;
}

} // namespace
