// What is computed for the panes, without a window.
#include "base/Error.h"
#include "fixtures/Testing.h"
#include "model/BatchOptions.h"
#include "model/Image.h"
#include "panes/CurvePlot.h"
#include "panes/PaneMap.h"
#include "panes/StatisticsPane.h"

#include <qcustomplot.h>

#include <numeric>

using namespace ombrel::workbench;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

Image ramp(zt::u32 width, zt::u32 height) {
    Image image{width, height, std::vector<double>(width * height)};
    std::iota(image.pixels.begin(), image.pixels.end(), 0.0);
    return image;
}

TEST(PaneMap, HoldsEveryPixelInItsPlaceWhereThereIsRoom) {
    const Image image = ramp(7, 5);
    const PaneMap map = makePaneMap(image, {{}, {100, 100}, false});
    ASSERT_EQ(map.data->keySize(), 7);
    ASSERT_EQ(map.data->valueSize(), 5);
    EXPECT_EQ(map.data->cell(2, 1), 9);
    // As the axes have it: the middle of pixel (2, 1).
    EXPECT_EQ(map.data->data(2.5, 1.5), 9);
    EXPECT_EQ(map.area, QRectF(0, 0, 7, 5));
}

TEST(PaneMap, BecomesMeansOfBlocksOnASmallScreenAndWholePixelsAgainWhenZoomed) {
    const Image image = ramp(100, 60);
    const PaneMap small = makePaneMap(image, {{}, {25, 15}, false});
    EXPECT_EQ(small.data->keySize(), 25);
    EXPECT_EQ(small.data->cell(0, 0), 0.25 * (1.5 + 101.5 + 201.5 + 301.5));
    const PaneMap zoomed = makePaneMap(image, {{40, 20, 10, 10}, {25, 15}, false});
    EXPECT_EQ(zoomed.area, QRectF(35, 15, 20, 20));
    EXPECT_EQ(zoomed.data->data(40.5, 20.5), 2040);
}

TEST(PaneMap, AMarkShowsHoweverSmallItsPixelIs) {
    Image image = ramp(100, 100);
    image.pixels[50 * 100 + 50] = nan;
    image.pixels[10 * 100 + 10] = -1;
    const PaneMap map = makePaneMap(image, {{}, {10, 10}, true});
    EXPECT_EQ(map.marks.pixel(5, 5), qRgba(255, 0, 255, 255));
    EXPECT_EQ(map.marks.pixel(1, 1), qRgba(0, 229, 255, 255));
    EXPECT_EQ(qAlpha(map.marks.pixel(3, 3)), 0);
    EXPECT_TRUE(makePaneMap(image, {{}, {10, 10}, false}).marks.isNull());
    const PaneMap difference = makePaneMap(image, {{}, {10, 10}, true}, false);
    EXPECT_EQ(difference.marks.pixel(5, 5), qRgba(255, 0, 255, 255));
    EXPECT_EQ(qAlpha(difference.marks.pixel(1, 1)), 0) << "of either sign";
    auto faults = std::make_shared<std::vector<zt::u32>>(100 * 100);
    (*faults)[70 * 100 + 34] = 1;
    const PaneMap faulty = makePaneMap(ramp(100, 100), {{}, {10, 10}, true}, true, faults);
    EXPECT_EQ(faulty.marks.pixel(3, 7), qRgba(255, 140, 0, 255));
}

TEST(Histogram, CountsWholeNumbersInWholeSteps) {
    std::vector<double> pixels;
    for (int i = 0; i < 4000; ++i)
        pixels.push_back(i % 4);
    pixels.insert(pixels.end(), {nan, 1e300, -1e300});
    const Histogram histogram = histogramOf(pixels, {0, 3});
    double total = 0;
    for (const double count : histogram.counts) {
        EXPECT_TRUE(count == 0 || count == 1000) << count;
        total += count;
    }
    EXPECT_EQ(total, 4000);
}

TEST(LineProfile, TakesThePixelsUnderTheLine) {
    auto image = std::make_shared<Image>(ramp(4, 3));
    image->pixels[6] = nan;
    const auto row = profileAlong({-1, 1.5, 4, 1.5}, image);
    EXPECT_THAT(row.x, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(row.y, ElementsAre(IsNan(), 4, 5, IsNan(), 7));
    EXPECT_TRUE(profileAlong({0, 0, 4, 0}, nullptr).x.isEmpty());
}

TEST(Uniformity, LeaveOutWhatIsNoNumber) {
    Image image{4, 1, {nan, 90, 110, 5}};
    const ombrel::Uniformity figures = uniformityOf(image, {0, 0, 3, 9});
    EXPECT_EQ(figures.mean, 100);
    EXPECT_NEAR(figures.spread, 0.1, 1e-12);
    EXPECT_TRUE(std::isnan(uniformityOf(image, {0, 0, 1, 1}).mean));
}

TEST(BatchOptions, SayTheChainAsItIsShown) {
    ChainState chain;
    chain.links = {{1, "Flat-Field", false, "", nullptr, 0, {}},
                   {2, "AdaptiveFF", true, "/no/such.xml", nullptr, 0, {{"Search", "1"}}}};
    const auto options = batchOptions({"a.h5"}, chain, {});
    ASSERT_EQ(options.links.size(), 1u);
    EXPECT_EQ(options.links[0].name, "AdaptiveFF");
    EXPECT_EQ(options.links[0].settings, "");
    EXPECT_THAT(options.params, ElementsAre("AdaptiveFF:Search=1"));
    chain.links.push_back({3, "AdaptiveFF", true, "", nullptr, 0, {}});
    EXPECT_THROW(batchOptions({"a.h5"}, chain, {}), ombrel::Error) << "it would be edited too";
    EXPECT_THROW(batchOptions({"a.h5"}, {}, {}), ombrel::Error);
}

} // namespace
