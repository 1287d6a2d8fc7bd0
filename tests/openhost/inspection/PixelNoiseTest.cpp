#include "inspection/PixelNoise.h"

#include "fixtures/Testing.h"
#include "frame/PixelFaults.h"
#include "inspection/PixelResponse.h"

#include <cmath>
#include <numeric>

using namespace ombrel;

TEST(PixelNoise, KnowsTheTailOfChiSquare) {
    // With 2 degrees of freedom it is exp(-x / 2).
    for (const double value : {0.1, 1.0, 3.0, 30.0, 120.0})
        EXPECT_THAT(chiSquareTail(value, 2) / std::exp(-value / 2), DoubleNear(1, 1e-10)) << value;
    EXPECT_THAT(chiSquareTail(64.295, 19) / 8.0e-7, DoubleNear(1, 0.1));
    EXPECT_THAT(chiSquareMedian(19), DoubleNear(18.3377, 1e-3));
}

TEST(PixelNoise, LimitsTheDiscoveriesByTheirRank) {
    // Of four small values the third is still below 3/1000 of 5 %, the fourth is not below 4/1000 of it.
    EXPECT_EQ(discoveryLimit({3e-4, 1e-6, 1.4e-4, 1e-4}, 1000, 0.05), 1.4e-4);
    EXPECT_EQ(discoveryLimit({1e-2}, 1000, 0.05), 0);
    EXPECT_EQ(discoveryLimit({}, 1000, 0.05), 0);
}

TEST(PixelNoise, MeasuresACountAgainstItsShareOfTheTotal) {
    // In the middle of a large total this is (count - mean) / sqrt(mean (1 - share)).
    EXPECT_THAT(shareDeviation(5500, 100'000, 0.05), DoubleNear(500 / std::sqrt(4750.0), 0.15));
    EXPECT_THAT(shareDeviation(4500, 100'000, 0.05), DoubleNear(-500 / std::sqrt(4750.0), 0.15));
    EXPECT_EQ(shareDeviation(5, 100, 0.05), 0);
    EXPECT_TRUE(std::isfinite(shareDeviation(0, 100, 0.05)));
    EXPECT_TRUE(std::isfinite(shareDeviation(100, 100, 0.05)));
}

TEST(PixelNoise, FindsTwoLevels) {
    const TwoLevels two = twoLevelsOf({1, -1, 1.1, -0.9, 1, -1.1, 0.9});
    EXPECT_LT(two.remainder, 0.02);
    EXPECT_EQ(two.fewer, 3u);
    EXPECT_FALSE(two.fewerAbove);
    EXPECT_TRUE(twoLevelsOf({0.1, -0.1, 0, 5}).fewerAbove);
    std::vector<double> even(21);
    std::iota(even.begin(), even.end(), -10);
    EXPECT_THAT(twoLevelsOf(even).remainder, DoubleNear(0.25, 0.01)); // of a uniform distribution
}

TEST(PixelResponse, TellsGapsFromDeadPixels) {
    const zt::u32 width = 12;
    std::vector<bool> silent(width * 10);
    for (zt::u32 y = 0; y < 10; ++y)
        silent[y * width + 5] = true; // a column
    for (zt::u32 y = 2; y < 6; ++y)
        for (zt::u32 x = 7; x < 11; ++x)
            silent[y * width + x] = true; // a block
    silent[0] = silent[1] = true;
    std::vector<zt::u32> faults(silent.size());
    markGaps(silent, width, faults);
    EXPECT_EQ(faultText(faults[0]), "dead");
    EXPECT_EQ(faultText(faults[5]), "gap");
    EXPECT_EQ(faultText(faults[3 * width + 8]), "gap");
    EXPECT_THAT(countFaults(faults), ElementsAre(testing::Pair("gap", 26), testing::Pair("dead", 2)));
}

TEST(PixelResponse, ForgivesWideRowsAndColumns) {
    const zt::u32 width = 128;
    std::vector<double> level(width * 128);
    for (zt::u32 i = 0; i < level.size(); ++i)
        level[i] = (1000 + i % 7 + i % 11) * (i % width == 64 ? 1.6 : 1) * (i / width == 64 ? 1.6 : 1);
    level[20 * width + 20] *= 2;
    level[90 * width + 64] *= 0.5;
    std::vector<zt::u32> faults(level.size());
    markResponse(level, std::vector<double>(level.size(), 1e-5), width, 6, faults);
    EXPECT_EQ(faultText(faults[20 * width + 20]), "over-responding");
    EXPECT_EQ(faultText(faults[90 * width + 64]), "under-responding");
    EXPECT_EQ(countFaulty(faults), 2u);
}
