#include "fixtures/Testing.h"
#include "kernels/FlatField.h"
#include "kernels/ProcessorDispatch.h"

#include <bit>
#include <cstdint>
#include <random>

namespace {

// With whatever makes a product special among them.
std::vector<double> hostileValues(std::size_t count, unsigned seed) {
    const double specials[] = {0.0, -0.0, INFINITY, -INFINITY, 5e-324, 1e-310, 1e308, -1e308};
    std::mt19937 random(seed);
    std::vector<double> values(count);
    for (double& value : values)
        value =
            random() % 4 == 0 ? specials[random() % 8] : std::normal_distribution<double>(0, 1000)(random);
    return values;
}

void expectSameBits(const std::vector<double>& actual, const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i)
        ASSERT_EQ(std::bit_cast<std::uint64_t>(actual[i]), std::bit_cast<std::uint64_t>(expected[i]))
            << "at " << i << ": " << actual[i] << " for " << expected[i];
}

class MultiplyTest : public testing::TestWithParam<bool> {
protected:
    MultiplyTest() { PluginOmbrel::useBaselineKernels = GetParam(); }
    ~MultiplyTest() override { PluginOmbrel::useBaselineKernels = false; }
};

TEST_P(MultiplyTest, GivesTheProductsWhateverTheLengthAndTheStart) {
    for (std::size_t count = 0; count < 70; ++count)
        for (const std::size_t start : {0u, 1u, 3u}) {
            std::vector<double> pixels = hostileValues(count + start, 1);
            const std::vector<double> factors = hostileValues(count, 2);
            std::vector<double> expected = pixels;
            for (std::size_t i = 0; i < count; ++i)
                expected[start + i] *= factors[i];
            PluginOmbrel::multiplyPixels(std::span(pixels).subspan(start), factors);
            expectSameBits(pixels, expected);
        }
}

TEST_P(MultiplyTest, ColumnsTakeTheirFactorsAgainInEachRow) {
    for (const std::size_t columns : {1u, 2u, 7u, 16u, 33u})
        for (const std::size_t count : {0u, 5u, 33u, 100u}) {
            std::vector<double> pixels = hostileValues(count, 3);
            const std::vector<double> factors = hostileValues(columns, 4);
            std::vector<double> expected = pixels;
            for (std::size_t i = 0; i < count; ++i)
                expected[i] *= factors[i % columns];
            PluginOmbrel::multiplyColumns(pixels, factors);
            expectSameBits(pixels, expected);
        }
}

INSTANTIATE_TEST_SUITE_P(, MultiplyTest, testing::Bool(), [](const auto& baseline) {
    return baseline.param ? "forAnyProcessor" : "forThisProcessor";
});

} // namespace
