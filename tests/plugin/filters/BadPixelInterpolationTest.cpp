#include "kernels/BadPixelInterpolation.h"

#include "fixtures/PlainInterpolation.h"
#include "fixtures/Testing.h"
#include "kernels/ProcessorDispatch.h"

#include <random>

namespace {

using PluginOmbrel::runInterpolationPasses;

struct MaskedFrame {
    MaskedFrame(int frameWidth, int frameHeight)
        : width(frameWidth), height(frameHeight), data(size()), mask(size()) {}

    std::size_t size() const { return static_cast<std::size_t>(width * height); }
    double& at(int x, int y) { return data[static_cast<std::size_t>(y * width + x)]; }
    unsigned char& maskAt(int x, int y) { return mask[static_cast<std::size_t>(y * width + x)]; }
    int interpolate() {
        return PluginOmbrel::tInterpolateBadPixels(
            data.data(), mask.data(), static_cast<unsigned long>(width), static_cast<unsigned long>(height));
    }

    int width;
    int height;
    std::vector<double> data;
    std::vector<unsigned char> mask;
};

MaskedFrame rampFrame(int width, int height) {
    MaskedFrame frame(width, height);
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame.data[i] = static_cast<double>(i * i % 101);
    return frame;
}

TEST(BadPixelInterpolation, MoreThanThreeEighthsOfTheNeighboursMustBeKnown) {
    // In a row the neighbourhood has 5 cells, at its ends 3: two known ones are enough, one is not.
    MaskedFrame row(8, 1);
    row.data = {2, 9, 9, 9, 4, 6, 8, 9};
    row.mask = {0, 1, 1, 1, 0, 0, 0, 1};
    ASSERT_EQ(row.interpolate(), 0);
    EXPECT_EQ(row.at(7, 0), (6.0 * 0.5 + 8.0) / 1.5);
    // The third has two known neighbours, so has the fourth; the second follows in the next pass.
    EXPECT_EQ(row.at(2, 0), (2.0 * 0.5 + 4.0 * 0.5) / 1.0);
    EXPECT_EQ(row.at(3, 0), (4.0 + 6.0 * 0.5) / 1.5);
    EXPECT_EQ(row.at(1, 0), (2.0 + row.at(2, 0) + row.at(3, 0) * 0.5) / 2.5);
}

TEST(BadPixelInterpolation, HalfOfThePixelsMayBeBad) {
    MaskedFrame frame = rampFrame(4, 4);
    for (std::size_t i = 0; i < 16; i += 2)
        frame.mask[i] = 7;
    EXPECT_EQ(frame.interpolate(), 0);
    EXPECT_EQ(frame.mask[0], 1);
    frame.mask[1] = 5;
    const MaskedFrame before = frame;
    EXPECT_EQ(frame.interpolate(), -1);
    EXPECT_EQ(frame.data, before.data);
    EXPECT_EQ(frame.mask, before.mask);
}

TEST(BadPixelInterpolation, AnEmptyFrameIsDone) {
    EXPECT_EQ(MaskedFrame(0, 0).interpolate(), 0);
    EXPECT_EQ(MaskedFrame(0, 5).interpolate(), 0);
    EXPECT_EQ(MaskedFrame(5, 0).interpolate(), 0);
}

// Bad pixels alone, in lines and in blocks.
MaskedFrame randomFrame(int width, int height, std::mt19937& random) {
    MaskedFrame frame(width, height);
    for (double& value : frame.data)
        value = std::normal_distribution<double>(0, 100)(random);
    const unsigned marks = random() % (frame.size() / 6 + 2);
    for (unsigned i = 0; i < marks; ++i) {
        const int x = static_cast<int>(random() % static_cast<unsigned>(width));
        const int y = static_cast<int>(random() % static_cast<unsigned>(height));
        const int toX = std::min(width, x + (random() % 8 == 0 ? 6 : 1));
        const int toY = std::min(height, y + (random() % 8 == 0 ? 6 : 1));
        for (int row = y; row < toY; ++row)
            for (int column = x; column < toX; ++column) {
                frame.maskAt(column, row) = 1;
                if (random() % 3 == 0)
                    frame.at(column, row) = NAN;
            }
    }
    return frame;
}

void expectSame(const MaskedFrame& actual, const MaskedFrame& expected) {
    ASSERT_EQ(actual.mask, expected.mask);
    ASSERT_TRUE(sameBits(actual.data, expected.data)) << actual.width << " x " << actual.height;
}

TEST(BadPixelInterpolation, GivesTheBitsOfThePlainPassesOnEveryShapeAndMask) {
    std::mt19937 random(23);
    const std::pair<int, int> shapes[] = {{1, 1},     {1, 40},   {40, 1},  {2, 7},  {5, 5},
                                          {7, 3},     {16, 16},  {33, 17}, {64, 9}, {65, 40},
                                          {100, 100}, {520, 12}, {1100, 5}};
    for (const auto& [width, height] : shapes)
        for (int repeat = 0; repeat < 30; ++repeat) {
            const MaskedFrame before = randomFrame(width, height, random);
            MaskedFrame expected = before;
            PlainInterpolation(expected.data, expected.mask, width, height).run();
            for (unsigned char& code : expected.mask)
                code = code != 0;
            PluginOmbrel::forEachSet([&](const char*) {
                MaskedFrame frame = before;
                if (frame.interpolate() == 0)
                    expectSame(frame, expected);
            });
        }
}

// Marks a block, ring, comb, checkerboard, noise, islands of good pixels, or about as many as can be filled.
void markArea(MaskedFrame& frame, std::mt19937& random) {
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
    const int kind = below(7), atX = below(frame.width), atY = below(frame.height);
    const int toX = atX + 1 + below(frame.width), toY = atY + 1 + below(frame.height);
    const int bar = 1 + below(6), step = bar + 1 + below(6), inner = below(20), outer = inner + 1 + below(12);
    const bool upright = below(2) != 0;
    for (int y = 0; y < frame.height; ++y)
        for (int x = 0; x < frame.width; ++x) {
            const bool inBlock = x >= atX && x < toX && y >= atY && y < toY;
            const int radius2 = (x - atX) * (x - atX) + (y - atY) * (y - atY);
            const bool marks[] = {inBlock,
                                  radius2 >= inner * inner && radius2 < outer * outer,
                                  (upright ? x : y) % step < bar || (upright ? y : x) < outer,
                                  inBlock && (x / bar + y / step) % 2 != 0,
                                  below(5) == 0,
                                  !inBlock,
                                  below(25) >= 9 + below(2)};
            if (marks[kind])
                frame.maskAt(x, y) = static_cast<unsigned char>(inner % 3 == 0 ? 1 + below(4) : 1);
        }
}

TEST(BadPixelInterpolation, GivesTheBitsOfThePlainPassesInWideAreasAndOnTheCodesOfEarlierPasses) {
    std::mt19937 random(31);
    PluginOmbrel::FillFront front;
    for (int repeat = 0; repeat < 150; ++repeat) {
        MaskedFrame frame(1 + static_cast<int>(random() % 90), 1 + static_cast<int>(random() % 90));
        for (double& value : frame.data)
            value = std::normal_distribution<double>(0, 100)(random);
        for (unsigned areas = 1 + random() % 3; areas != 0; --areas)
            markArea(frame, random);
        MaskedFrame expected = frame;
        runInterpolationPasses(frame.data.data(), frame.mask.data(), static_cast<std::size_t>(frame.width),
                               static_cast<std::size_t>(frame.height), front);
        PlainInterpolation(expected.data, expected.mask, frame.width, frame.height).run();
        expectSame(frame, expected);
    }
}

} // namespace
