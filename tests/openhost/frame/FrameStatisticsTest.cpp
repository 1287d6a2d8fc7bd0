#include "fixtures/Testing.h"
#include "frame/Frame.h"
#include "frame/PixelType.h"
#include "frame/Statistics.h"

#include <random>

namespace {

using ombrel::Frame;
using ombrel::FrameStatistics;

ombrel::FramePtr frameOf(zt::u8 type, const std::vector<double>& values) {
    ombrel::FramePtr frame = Frame::create(static_cast<zt::u32>(values.size()), 1, type);
    ombrel::withPixelType(type, [&](auto pixel) {
        std::ranges::transform(values, frame->pixels<decltype(pixel)>().begin(),
                               [](double value) { return static_cast<decltype(pixel)>(value); });
    });
    return frame;
}

// In two passes, as the figures are defined.
FrameStatistics plainFigures(const std::vector<double>& values) {
    FrameStatistics figures;
    long double sum = 0;
    long double squares = 0;
    for (const double value : values) {
        figures.zeroPixels += value == 0;
        figures.notFinite += !std::isfinite(value);
        sum += std::isfinite(value) ? value : 0;
    }
    const auto count = static_cast<long double>(values.size() - figures.notFinite);
    const long double mean = sum / count;
    for (const double value : values)
        squares += std::isfinite(value) ? (value - mean) * (value - mean) : 0;
    figures.mean = static_cast<double>(mean);
    figures.spread = static_cast<double>(std::sqrt(squares / count) / mean);
    return figures;
}

TEST(FrameStatistics, AreThoseOfTheFinitePixelsOfEveryTypeAndLength) {
    std::mt19937_64 random(4);
    const double notFinite[] = {NAN, INFINITY, -INFINITY, -0.0};
    for (zt::u8 type = 0; type <= zt::DT_DOUBLE; ++type)
        for (std::size_t size = 2; size < 40; ++size) {
            SCOPED_TRACE(std::string(ombrel::pixelTypeName(type)) + ' ' + std::to_string(size));
            std::vector<double> values(size);
            for (double& value : values)
                value = type >= zt::DT_FLOAT && random() % 2 ? notFinite[random() % 4]
                                                             : static_cast<double>(random() % 100);
            values.back() = 0;
            values.front() = 50;
            const FrameStatistics expected = plainFigures(values);
            const FrameStatistics actual = ombrel::figuresOf(*frameOf(type, values));
            EXPECT_NEAR(actual.mean, expected.mean, 1e-12);
            EXPECT_NEAR(actual.spread, expected.spread, 1e-12);
            EXPECT_EQ(actual.zeroPixels, expected.zeroPixels);
            EXPECT_EQ(actual.notFinite, expected.notFinite);
        }
    const FrameStatistics none = ombrel::figuresOf(*frameOf(zt::DT_DOUBLE, {NAN, INFINITY}));
    EXPECT_TRUE(std::isnan(none.mean) && std::isnan(none.spread));
    EXPECT_EQ(none.notFinite, 2);
}

// A spread of a hundred-millionth is lost in the difference of two squares.
TEST(FrameStatistics, KeepTheDigitsOfASmallSpread) {
    std::vector<double> values(1000);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = 1e8 + (i % 2 ? 1 : -1);
    EXPECT_NEAR(ombrel::figuresOf(*frameOf(zt::DT_DOUBLE, values)).spread, 1e-8, 1e-14);
}

} // namespace
