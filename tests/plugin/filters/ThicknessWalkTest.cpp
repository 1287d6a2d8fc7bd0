#include "kernels/ThicknessWalk.h"

#include "fixtures/Testing.h"
#include "kernels/Logarithm.h"

#include <random>

namespace {

using PluginOmbrel::ThicknessOrder;
using PluginOmbrel::ThicknessTables;
using Values = std::vector<double>;

const double notANumber = std::numeric_limits<double>::quiet_NaN();

struct PlainMask {
    Values values;
    double thickness;
};

ThicknessTables tablesOf(const std::vector<PlainMask>& masks) {
    ThicknessTables tables;
    for (const PlainMask& mask : masks)
        tables.add(mask.values.data(), mask.thickness);
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

void expectPlain(const Values& counts, double time, const std::vector<PlainMask>& masks) {
    Values expected = counts;
    for (std::size_t i = 0; i < counts.size(); ++i)
        expected[i] = plainThickness(counts[i], time, masks, i);
    const ThicknessTables tables = tablesOf(masks);
    ThicknessOrder order;
    order.find(tables, counts.size());
    for (const ThicknessOrder& known : {order, ThicknessOrder()})
        PluginOmbrel::forEachSet([&](const char* set) {
            Values actual = counts;
            PluginOmbrel::replaceByThickness(actual, time, tables, known);
            ASSERT_TRUE(sameBits(actual, expected)) << set;
        });
}

// Without NaN, which has no order. The last of equal masks falls too, but for one stretch.
void makeFall(std::vector<PlainMask>& masks) {
    for (std::size_t i = 0; i < masks[0].values.size(); ++i) {
        Values column;
        for (const PlainMask& mask : masks)
            column.push_back(std::isnan(mask.values[i]) ? 0 : mask.values[i]);
        std::ranges::sort(column, std::greater());
        if (i / ThicknessOrder::stretch != 1 && column.back() == column[column.size() - 2])
            column.back() = -INFINITY;
        for (std::size_t k = 0; k < masks.size(); ++k)
            masks[k].values[i] = column[k];
    }
}

TEST(ThicknessWalk, WithOneMaskKeepsTheLogarithmBelowItAndGivesZeroFromItOn) {
    const std::vector<PlainMask> one = {{{0, 0, 0, 0, notANumber}, 5}};
    Values counts = {2.0, 1.0, 0.5, -1, 0.5};
    PluginOmbrel::replaceByThickness(counts, 1, tablesOf(one), {});
    EXPECT_THAT(counts, ElementsAre(0, 0, logarithm(0.5), 0, 0));
    PluginOmbrel::replaceByThickness(counts, 1, {}, {});
    EXPECT_THAT(counts, ElementsAre(0, 0, 0, 0, 0));
}

TEST(ThicknessWalk, IsThePlainWalkForEveryNumberOfMasksAndPixels) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> unit(0, 1);
    for (std::size_t maskCount = 0; maskCount < 20; ++maskCount)
        for (std::size_t size = 0; size < 99; size = size < 12 ? size + 1 : size + 7) {
            std::vector<PlainMask> masks(maskCount);
            for (std::size_t k = 0; k < maskCount; ++k) {
                masks[k].thickness = static_cast<double>(k) * 0.7 + unit(random);
                for (std::size_t i = 0; i < size; ++i) { // out of order now and then in every other stretch
                    const double noise = i / ThicknessOrder::stretch % 2 == 0 ? 0.5 : 1;
                    masks[k].values.push_back(6 - static_cast<double>(k) / 2 + noise * unit(random));
                }
            }
            Values counts(size);
            for (double& count : counts)
                count = unit(random) < 0.1 ? 0 : std::exp(8 - 12 * unit(random));
            expectPlain(counts, 1.5, masks);
        }
}

TEST(ThicknessWalk, IsThePlainWalkOnHostileValues) {
    const Values hostile = {0,     -0.0,  -1,       5e-324,    -5e-324,    1e-310,        1, 2,   0.3, 1e10,
                            1e300, 1e308, INFINITY, -INFINITY, notANumber, std::exp(1.0), 7, 0.01};
    std::mt19937_64 random(9);
    const auto anyOf = [&](std::size_t size) {
        Values values(size);
        for (double& value : values)
            value = hostile[random() % hostile.size()];
        return values;
    };
    const auto rarelyHostile = [&] {
        Values counts = anyOf(61);
        for (double& count : counts)
            if (random() % 40 != 0)
                count = std::exp(static_cast<double>(random() % 16) - 8);
        return counts;
    };
    for (int round = 0; round < 300; ++round) {
        std::vector<PlainMask> masks(2 + random() % 5);
        for (PlainMask& mask : masks)
            mask = {anyOf(61), hostile[random() % hostile.size()]};
        if (round % 2 == 0)
            makeFall(masks);
        if (round % 4 == 0)
            masks[random() % masks.size()].values[random() % 61] = notANumber;
        for (const double time :
             {1.0, 1e-300, 1e300, -2.0, std::numeric_limits<double>::infinity(), notANumber})
            for (const Values& counts : {anyOf(61), rarelyHostile()})
                expectPlain(counts, time, masks);
    }
}

TEST(ThicknessWalk, TurnsMasksIntoLogarithmsOfTheirRate) {
    Values counts = {10, 0, -3, notANumber, 4, INFINITY, 2};
    PluginOmbrel::replaceByLogarithm(counts, 2);
    EXPECT_THAT(counts, ElementsAre(logarithm(5), 0, 0, 0, logarithm(2), INFINITY, 0));
}

} // namespace
