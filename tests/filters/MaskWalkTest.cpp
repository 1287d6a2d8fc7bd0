#include "filters/MaskWalk.h"

#include "filters/ThicknessBlock.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using PluginOmbrel::MaskTable;
using Values = std::vector<double>;
using testing::ElementsAre;

const double notANumber = std::numeric_limits<double>::quiet_NaN();

struct PlainMask {
    Values values;
    double thickness;
};

std::vector<MaskTable> tablesOf(const std::vector<PlainMask>& masks) {
    std::vector<MaskTable> tables;
    for (std::size_t k = 0; k < masks.size(); ++k)
        tables.push_back({masks[k].values.data(), masks[k].thickness,
                          k + 1 < masks.size() ? masks[k + 1].thickness - masks[k].thickness : 0});
    return tables;
}

double logarithm(double x) {
    PluginOmbrel::Vector<1>::Doubles value = {x};
    PluginOmbrel::Logarithm<1>::replace(value);
    return value[0];
}

// One pixel as the correction is defined, mask by mask.
double plainThickness(double count, double time, const std::vector<PlainMask>& masks, std::size_t at) {
    if (count <= 0 || masks.empty())
        return 0;
    const double level = logarithm(count / time);
    const int last = static_cast<int>(masks.size()) - 1;
    int crossed = -1;
    while (crossed < last && level < masks[static_cast<std::size_t>(crossed + 1)].values[at])
        ++crossed;
    if (last == 0)
        return crossed == 0 ? level : 0;
    const auto lower = static_cast<std::size_t>(std::clamp(crossed, 0, last - 1));
    const PlainMask& a = masks[lower];
    const PlainMask& b = masks[lower + 1];
    const double distance = b.values[at] - a.values[at];
    if (distance == 0)
        return 0;
    return (level - a.values[at]) * ((b.thickness - a.thickness) / distance) + a.thickness;
}

struct BlockKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* counts, std::size_t size, double time,
                                                   std::span<const MaskTable> masks) {
        for (std::size_t at = 0; at + Lanes <= size; at += Lanes)
            PluginOmbrel::ThicknessBlock<Lanes>(counts + at, at, 1).replace(time, masks);
    }
};

// NaNs of any kind are the same to a user.
void expectSame(const Values& actual, const Values& expected, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const bool same = std::isnan(expected[i])
                              ? std::isnan(actual[i])
                              : std::bit_cast<long>(actual[i]) == std::bit_cast<long>(expected[i]);
        ASSERT_TRUE(same) << "pixel " << i << " of " << count << ": " << actual[i] << " for " << expected[i];
    }
}

void expectPlain(const Values& counts, double time, const std::vector<PlainMask>& masks) {
    Values expected = counts;
    for (std::size_t i = 0; i < counts.size(); ++i)
        expected[i] = plainThickness(counts[i], time, masks, i);
    const std::vector<MaskTable> tables = tablesOf(masks);
    Values actual = counts;
    PluginOmbrel::replaceByThickness(actual, time, tables);
    expectSame(actual, expected, counts.size());
    if (masks.size() > 1) {
        Values baseline = counts;
        PluginOmbrel::runOnAnyProcessor<BlockKernel>(baseline.data(), counts.size(), time,
                                                     std::span<const MaskTable>(tables));
        expectSame(baseline, expected, counts.size() / 2 * 2);
    }
}

TEST(MaskWalk, followsTheLinesBetweenMasks) {
    const std::vector<PlainMask> masks = {{{-1, -1, -1, -1}, 1}, {{-2, -2, -2, -2}, 2}};
    Values counts = {std::exp(-1.5), std::exp(-0.5), std::exp(-3.0), 0};
    PluginOmbrel::replaceByThickness(counts, 1, tablesOf(masks));
    EXPECT_THAT(counts, ElementsAre(testing::DoubleNear(1.5, 1e-15), testing::DoubleNear(0.5, 1e-15),
                                    testing::DoubleNear(3, 1e-15), 0));
}

TEST(MaskWalk, withOneMaskKeepsTheLogarithmBelowItAndGivesZeroFromItOn) {
    const std::vector<PlainMask> one = {{{0, 0, 0, 0, notANumber}, 5}};
    Values counts = {2.0, 1.0, 0.5, -1, 0.5};
    PluginOmbrel::replaceByThickness(counts, 1, tablesOf(one));
    EXPECT_THAT(counts, ElementsAre(0, 0, logarithm(0.5), 0, 0));
    PluginOmbrel::replaceByThickness(counts, 1, {});
    EXPECT_THAT(counts, ElementsAre(0, 0, 0, 0, 0));
}

TEST(MaskWalk, isThePlainWalkForEveryNumberOfMasksAndPixels) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> unit(0, 1);
    for (std::size_t maskCount = 0; maskCount < 12; ++maskCount)
        for (std::size_t size = 0; size < 75; size = size < 12 ? size + 1 : size + 7) {
            std::vector<PlainMask> masks(maskCount);
            for (std::size_t k = 0; k < maskCount; ++k) {
                masks[k].thickness = static_cast<double>(k) * 0.7 + unit(random);
                for (std::size_t i = 0; i < size; ++i) // out of order now and then
                    masks[k].values.push_back(6 - static_cast<double>(k) / 2 + unit(random));
            }
            Values counts(size);
            for (double& count : counts)
                count = std::exp(8 * unit(random));
            expectPlain(counts, 1.5, masks);
        }
}

TEST(MaskWalk, isThePlainWalkOnHostileValues) {
    const Values hostile = {0,     -0.0,  -1,       5e-324,    -5e-324,    1e-310,        1, 2,   0.3, 1e10,
                            1e300, 1e308, INFINITY, -INFINITY, notANumber, std::exp(1.0), 7, 0.01};
    std::mt19937_64 random(9);
    const auto anyOf = [&](std::size_t size) {
        Values values(size);
        for (double& value : values)
            value = hostile[random() % hostile.size()];
        return values;
    };
    for (int round = 0; round < 300; ++round) {
        std::vector<PlainMask> masks(2 + random() % 5);
        for (PlainMask& mask : masks)
            mask = {anyOf(61), hostile[random() % hostile.size()]};
        for (const double time :
             {1.0, 1e-300, 1e300, -2.0, std::numeric_limits<double>::infinity(), notANumber})
            expectPlain(anyOf(61), time, masks);
    }
}

TEST(MaskWalk, turnsMasksIntoLogarithmsOfTheirRate) {
    Values counts = {10, 0, -3, notANumber, 4, INFINITY, 2};
    PluginOmbrel::replaceByLogarithm(counts, 2);
    EXPECT_THAT(counts, ElementsAre(logarithm(5), 0, 0, 0, logarithm(2), INFINITY, 0));
}

} // namespace
