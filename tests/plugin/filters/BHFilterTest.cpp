#include "FilterFixtures.h"

namespace {

using BHFilterTest = BHFilterFixture;

constexpr const char* noTime = "Acquisition time cannot be zero";
constexpr const char* maskSizesDiffer = "Cannot interpolate bad pixels - frame dimensions do not match";

TEST_F(BHFilterTest, RefusesInOneLineWithACode) {
    const auto frame = frameOf(Values(12, 1));
    EXPECT_EQ(filter->filter(frame.get()), nullptr);
    EXPECT_EQ(filter->filterReplace(frame.get()), -1017);
    EXPECT_THAT(takeLog(), Each("Frame dimensions do not match"));
    addTwoMasks();
    EXPECT_EQ(filter->filterFrame(frame.get(), 0), -1005);
    EXPECT_THAT(takeLog(), ElementsAre(noTime));
    EXPECT_EQ(pixelsOf(*frame), Values(12, 1));
    const Filter fresh(static_cast<PluginOmbrel::BHFilter*>(filter->createNewInstance()));
    EXPECT_THAT(fresh->masks(), IsEmpty());
}

TEST_F(BHFilterTest, ReadsThicknessOffTheRate) {
    addTwoMasks();
    auto frame = frameOf(Values(12, 5 * std::exp(-1.5)));
    frame->setAcqTime(5);
    EXPECT_THAT(corrected(*filter, *frame), Each(DoubleNear(1.5, 1e-15)));
    EXPECT_EQ(pixelsOf(*frame), Values(12, 5 * std::exp(-1.5)));
    // Without a time the counts are those of a second.
    EXPECT_THAT(corrected(*filter, *frameOf(Values(12, std::exp(-3.0)))), Each(DoubleNear(3, 1e-14)));
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    EXPECT_THAT(pixelsOf(*frame), Each(DoubleNear(1.5, 1e-15)));
    EXPECT_THAT(takeLog(), IsEmpty());
}

// Where masks fall from each to the next, which is remembered, they are searched in another way.
TEST_F(BHFilterTest, SeesMasksThatChangeBetweenFrames) {
    const auto addLevel = [&](double level, double thickness) {
        EXPECT_EQ(filter->addMaskFromFrame(frameOf(Values(48, std::exp(level)), 12).get(), thickness, 1), 0);
    };
    const auto frame = frameOf(Values(48, std::exp(-3.0)), 12);
    for (const double level : {-1.0, -1.5, -2.0})
        addLevel(level, -level);
    EXPECT_THAT(corrected(*filter, *frame), Each(DoubleNear(3, 1e-14)));
    addLevel(-1, 9);
    EXPECT_THAT(corrected(*filter, *frame), Each(DoubleNear(-5, 1e-14)));
    filter->removeMask(3);
    EXPECT_THAT(corrected(*filter, *frame), Each(DoubleNear(3, 1e-14)));
    filter->masks()[0]->thickness = 9;
    filter->sortMasks();
    EXPECT_THAT(corrected(*filter, *frame), Each(DoubleNear(-5, 1e-14)));
}

TEST_F(BHFilterTest, TakesTheMeansOfColumnsWithTDI) {
    // Rows differ, the means of the columns are 1 to 4 times e^-1 and e^-2.
    Values thin, thick, counts;
    for (const double row : {0.5, 1.0, 1.5})
        for (int x = 1; x <= 4; ++x) {
            thin.push_back(row * x * std::exp(-1.0));
            thick.push_back(row * x * std::exp(-2.0));
            counts.push_back(x * std::exp(-1.5));
        }
    addMask(thin, 1);
    addMask(thick, 2);
    filter->setTDI(true);
    EXPECT_THAT(corrected(*filter, *frameOf(counts)), Each(DoubleNear(1.5, 1e-14)));
    // As many pixels in another shape: wider than the masks is refused, narrower takes their first columns.
    EXPECT_THAT(corrected(*filter, *frameOf(counts, 6)), IsEmpty());
    EXPECT_THAT(takeLog(), ElementsAre("Mask 1 has too few values (4 < 6)"));
    EXPECT_EQ(corrected(*filter, *frameOf(counts, 3)).size(), 12u);
}

TEST_F(BHFilterTest, AsksForTheTimeAtTheFirstPositivePixelWithTDI) {
    addTwoMasks();
    filter->setInterpolateBadPixelsEnabled(false);
    filter->setTDI(true);
    const auto frame = frameOf({-1, -2, 3, -4, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(filter->filterFrame(frame.get(), 0), -1005);
    EXPECT_THAT(takeLog(), ElementsAre(noTime));
    EXPECT_THAT(pixelsOf(*frame), ElementsAre(0, 0, 3, -4, 0, 0, 0, 0, 0, 0, 0, 0));
    const auto dark = frameOf(Values(12, -1));
    EXPECT_EQ(filter->filterFrame(dark.get(), 0), 0);
    EXPECT_EQ(pixelsOf(*dark), Values(12, 0));
}

TEST_F(BHFilterTest, LetsARawMaskTakePart) {
    addMask(Values(12, 3), 1, 0);
    addMask(Values(12, 1), 2, 1);
    EXPECT_THAT(corrected(*filter, *frameOf(Values(12, std::exp(2.0)))), Each(DoubleNear(1.5, 1e-15)));
    EXPECT_THAT(takeLog(), ElementsAre(noTime));
}

class BHFilterBadPixelsTest : public BHFilterFixture {
protected:
    static constexpr const char* oneBad = "0 0 0 0\n0 1 0 0\n0 0 0 0\n";
    // Masks with a pixel that does not fall.
    void addMasksWithOneBadPixel() {
        Values thick(12, std::exp(-2.0));
        thick[5] = 1;
        addMask(Values(12, std::exp(-1.0)), 1);
        addMask(thick, 2);
    }
    int loadMatrix(const std::string& text) {
        const std::string path = folder / "matrix.txt";
        writeFileText(path, text);
        return filter->loadBadPixelsFromFile(path.c_str());
    }
};

TEST_F(BHFilterBadPixelsTest, AreThoseWhoseMasksDoNotFall) {
    EXPECT_EQ(filter->generateBadPixels(), 0);
    EXPECT_EQ(badPixelText(), "");
    addMasksWithOneBadPixel();
    EXPECT_EQ(filter->generateBadPixels(), 0);
    EXPECT_EQ(badPixelText(), oneBad);
    filter->setTDI(true); // one bad column marks all its pixels
    EXPECT_EQ(filter->generateBadPixels(), 0);
    EXPECT_EQ(badPixelText(), "0 1 0 0\n0 1 0 0\n0 1 0 0\n");
}

TEST_F(BHFilterBadPixelsTest, AreFilledFromTheirNeighbours) {
    addMasksWithOneBadPixel();
    // An empty table, which a file that cannot be opened may not leave, would be masks without a bad pixel.
    EXPECT_EQ(filter->loadBadPixelsFromFile((folder / "none").c_str()), -1);
    EXPECT_EQ(badPixelText(), "");
    Values counts(12, std::exp(-1.5));
    counts[5] = 100;
    EXPECT_THAT(corrected(*filter, *frameOf(counts)), Each(DoubleNear(1.5, 1e-14)));
    filter->setInterpolateBadPixelsEnabled(false);
    EXPECT_GT(std::abs(corrected(*filter, *frameOf(counts))[5] - 1.5), 0.1);
}

TEST_F(BHFilterBadPixelsTest, AreFilledOrFinalOnTheNextFrameByWhatTheOneBeforeLeft) {
    // What a pixel of rate e^-1.25 becomes that was 0 on the frame before.
    const auto afterZero = [this](std::size_t pixel) {
        filter = newFilter();
        addTwoMasks();
        filter->setUseZeroPixelsAsBad(true);
        Values counts(12, std::exp(-1.5));
        counts[pixel] = 0;
        EXPECT_THAT(corrected(*filter, *frameOf(counts)), Each(DoubleNear(1.5, 1e-14)));
        counts[pixel] = std::exp(-1.25);
        return corrected(*filter, *frameOf(counts)).at(pixel);
    };
    // In the first row the second pass came by and made it final: known from then on.
    EXPECT_THAT(afterZero(1), DoubleNear(1.25, 1e-14));
    // Further down the second pass began below it, so it still waits to be filled.
    EXPECT_THAT(afterZero(5), DoubleNear(1.5, 1e-14));
}

TEST_F(BHFilterBadPixelsTest, AreLeftWhenTheyAreTooMany) {
    addTwoMasks();
    filter->setUseZeroPixelsAsBad(true);
    Values counts(12, 0);
    std::fill_n(counts.begin(), 6, std::exp(-1.5));
    EXPECT_EQ(filter->filterReplace(frameOf(counts).get()), 0);
    EXPECT_THAT(takeLog(), IsEmpty());
    counts[0] = 0;
    const auto frame = frameOf(counts);
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    EXPECT_EQ(filter->interpolateBadPixels(frame.get()), -1018);
    EXPECT_THAT(takeLog(), Each("Too many bad pixels (7) to interpolate."));
    EXPECT_EQ(frame->pixels<double>()[0], 0);
}

TEST_F(BHFilterBadPixelsTest, ComeFromFilesOfBothKinds) {
    addTwoMasks();
    EXPECT_EQ(loadMatrix(oneBad), 0);
    EXPECT_EQ(badPixelText(), oneBad);
    EXPECT_EQ(loadMatrix("1 0"), -2); // the rest stays
    EXPECT_EQ(badPixelText(), "1 0 0 0\n0 1 0 0\n0 0 0 0\n");
    host.frames().defineFrame("bad", frameOf<zt::u16>(zt::DT_U16, {0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(filter->loadBadPixelsFromFile("bad"), 0);
    EXPECT_EQ(badPixelText(), oneBad);
    host.frames().defineFrame("small", frameOf(Values(8, 1)));
    EXPECT_EQ(filter->loadBadPixelsFromFile("small"), -1010);
    const std::string none = folder / "none";
    EXPECT_EQ(filter->loadBadPixelsFromFile(none.c_str()), -1);
    EXPECT_EQ(badPixelText(), oneBad);
    const std::string nowhere = folder / "no/such.txt";
    EXPECT_EQ(filter->saveBadPixelsToFile(nowhere.c_str()), -1);
    EXPECT_THAT(takeLog(),
                ElementsAre("Cannot load bad pixels from file " + (folder / "matrix.txt") + ". Error -2",
                            "Bad pixel frame dimensions dont match BH masks",
                            "Cannot load bad pixels from file " + none + ". Error -1",
                            "Cannot save bad pixels to file " + nowhere + ". Error -1"));
}

TEST_F(BHFilterBadPixelsTest, OfEarlierMasksServeFramesThatTheyCover) {
    const auto fill = [this](zt::u32 pixels) {
        filter->removeAllMasks();
        addMask(Values(pixels, std::exp(-1.0)), 1);
        addMask(Values(pixels, std::exp(-2.0)), 2);
        Values counts(pixels, std::exp(-1.5));
        counts[5] = std::exp(-1.25);
        return corrected(*filter, *frameOf(counts)).at(5);
    };
    EXPECT_EQ(loadMatrix(oneBad), 0);
    EXPECT_THAT(fill(8), DoubleNear(1.5, 1e-14));   // the pixel is bad still
    EXPECT_THAT(fill(16), DoubleNear(1.25, 1e-14)); // too few for the frame, so made again
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BHFilterBadPixelsTest, OfNoMaskHaveTheSizeOfTheDevice) {
    EXPECT_EQ(loadMatrix(""), -2);
    EXPECT_EQ(badPixelText(), "0 0 0 0 0 0 0 0 0 0 0 0 ");
    // The size stands now, and all pixels become 0; but there is nothing to make bad pixels of.
    EXPECT_EQ(corrected(*filter, *frameOf(Values(12, 1))), Values(12, 0));
    EXPECT_EQ(filter->generateBadPixels(), 0);
    EXPECT_EQ(filter->interpolateBadPixels(frameOf(Values(12, 1)).get()), -1005);
    EXPECT_EQ(filter->interpolateBadPixels(frameOf<zt::u16>(zt::DT_U16, {1, 2, 3, 4}).get()), -1005);
    EXPECT_EQ(filter->interpolateBadPixels(frameOf(Values(8, 1)).get()), -1005);
    EXPECT_THAT(takeLog(),
                ElementsAre(HasSubstr("matrix.txt. Error -2"), maskSizesDiffer,
                            "Cannot interpolate bad pixels - frame is not of type double", maskSizesDiffer));
}

} // namespace
