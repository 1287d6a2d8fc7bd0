#include "FilterFixtures.h"
#include "kernels/BadPixelMask.h"

#include <array>

namespace {

using FFFilterTest = FFFilterFixture;

constexpr const char* noCoefficients = "No flat-field coefficients loaded";
constexpr const char* sizesDiffer = "Frame dimensions do not match";
constexpr const char* maskSizesDiffer = "Cannot interpolate bad pixels - frame dimensions do not match";

TEST_F(FFFilterTest, RefusesInOneLineAndLeavesTheFrame) {
    filter->setUseZeroPixelsForBadPixels(true);
    const auto frame = frameOf<zt::u16>(zt::DT_U16, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(filter->filter(frame.get()), nullptr);
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre(noCoefficients, noCoefficients));

    const Filter small = filterWith({1, 2, 3});
    EXPECT_EQ(small->filter(frame.get()), nullptr);
    EXPECT_EQ(small->filterReplace(frame.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre(sizesDiffer, sizesDiffer));
    EXPECT_EQ(frame->frameDataType(), zt::DT_U16);
}

TEST_F(FFFilterTest, MultipliesACopyOrTheFrameItself) {
    const Filter multiplying = filterWith({0.5, -1, 0, 1e300, 3, 1.0 / 3});
    const auto frame = frameOf<zt::u16>(zt::DT_U16, {1, 2, 3, 40000, 5, 6});
    const Values expected{0.5, -2, 0, 40000 * 1e300, 15, 6 * (1.0 / 3)};
    EXPECT_EQ(corrected(*multiplying, *frame), expected);
    EXPECT_EQ(frame->frameDataType(), zt::DT_U16);
    EXPECT_EQ(frame->pixels<zt::u16>()[3], 40000);

    EXPECT_EQ(multiplying->filterReplace(frame.get()), 0);
    EXPECT_EQ(pixelsOf(*frame), expected);
    // Only the number of pixels has to fit.
    EXPECT_EQ(corrected(*multiplying, *frameOf(Values(6, 1), 2)), (Values{0.5, -1, 0, 1e300, 3, 1.0 / 3}));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(FFFilterTest, InTdiModeAColumnSharesOneCoefficientWhereThereIsOne) {
    const auto expectOfOnes = [](Filter& tdi, const Values& expected) {
        tdi->useTDI(true);
        EXPECT_EQ(corrected(*tdi, *frameOf(Values(6, 1))), expected);
        const auto inPlace = frameOf(Values(6, 1));
        tdi->filterReplace(inPlace.get());
        EXPECT_EQ(pixelsOf(*inPlace), expected);
    };
    host.frames().defineFrame("flat", frameOf({1, 2, 4, 3, 6, 12}));
    ASSERT_EQ(filter->loadCoefficientsFromFile("flat", false), 0);
    filter->setInterpolateBadMaskedPixels(false);
    expectOfOnes(filter, {2, 1, 0.5, 2, 1, 0.5}); // the columns' means 2, 4, 8 have the median 4
    Filter prepared = filterWith({1, 2, 3, 4, 5, 6});
    expectOfOnes(prepared, {1, 2, 3, 4, 5, 6});
}

// Frames that are 4 but for one pixel; where that is interpolated, all are 4.
class BadPixelSourceTest : public FFFilterFixture {
protected:
    BadPixelSourceTest() { setUp(Values(6, 1)); }

    void setUp(const Values& coefficients) {
        filter = filterWith(coefficients);
        filter->setInterpolateBadMaskedPixels(true);
    }

    template <typename T>
    bool isFilledWhere(zt::u8 type, T value) {
        const Values result = corrected(*filter, *frameOf<T>(type, {4, 4, 4, 4, value, 4}));
        EXPECT_EQ(result[0], 4);
        return std::abs(result[4] - 4) < 1e-12;
    }
};

TEST_F(BadPixelSourceTest, ZeroPixelsAreFoundInFourTypesOfFrames) {
    EXPECT_TRUE(isFilledWhere<zt::i16>(zt::DT_I16, 0));
    EXPECT_TRUE(isFilledWhere<zt::u32>(zt::DT_U32, 0));
    EXPECT_TRUE(isFilledWhere<zt::u64>(zt::DT_U64, 0));
    EXPECT_TRUE(isFilledWhere<double>(zt::DT_DOUBLE, 0.0));
    EXPECT_TRUE(isFilledWhere<double>(zt::DT_DOUBLE, -0.0));
    EXPECT_FALSE(isFilledWhere<double>(zt::DT_DOUBLE, 5e-324));
    EXPECT_FALSE(isFilledWhere<zt::i16>(zt::DT_I16, -1));
    EXPECT_FALSE(isFilledWhere<zt::u16>(zt::DT_U16, 0));
    EXPECT_FALSE(isFilledWhere<float>(zt::DT_FLOAT, 0));
    // As a double this is a negative zero.
    EXPECT_TRUE(isFilledWhere<zt::u64>(zt::DT_U64, zt::u64{1} << 63));
    setUp({1, 1, 1, 1, 0, 1}); // what counts is the measured frame
    EXPECT_FALSE(isFilledWhere<double>(zt::DT_DOUBLE, 7));
    EXPECT_TRUE(isFilledWhere<double>(zt::DT_DOUBLE, 0));
}

TEST_F(BadPixelSourceTest, ExtremeCoefficientsAreBadBeyondTheLimits) {
    for (const double coefficient : {5.0, 0.2, 5.000001, 0.199999, 0.0}) {
        setUp({1, 1, 1, 1, coefficient, 1});
        filter->setUseFFCoeffsForBadPixels(true);
        EXPECT_EQ(isFilledWhere<double>(zt::DT_DOUBLE, 100), coefficient > 5 || coefficient < 0.2)
            << coefficient;
    }
}

TEST_F(BadPixelSourceTest, MaskedPixelsOfTheDeviceAreAdded) {
    device.pixels().setMask(std::vector<zt::u8>{1, 1, 1, 1, 0, 7});
    EXPECT_TRUE(isFilledWhere<double>(zt::DT_DOUBLE, 100));
    filter->setUseDeviceMaskForBadPixels(false);
    EXPECT_FALSE(isFilledWhere<double>(zt::DT_DOUBLE, 100));
    filter->setUseDeviceMaskForBadPixels(true);
    EXPECT_TRUE(isFilledWhere<double>(zt::DT_DOUBLE, 100));
    // Without a source the mask stays as it is, the device's part included.
    filter->setUseZeroPixelsForBadPixels(false);
    filter->loadBadPixelMaskFromFile("ignored", false);
    EXPECT_TRUE(isFilledWhere<double>(zt::DT_DOUBLE, 100));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BadPixelSourceTest, ADeviceMaskOfAnotherSizeIsPassedOver) {
    setUp(Values(8, 1));
    device.pixels().setMask(std::vector<zt::u8>(6, 0));
    const Values result = corrected(*filter, *frameOf({4, 4, 4, 4, 4, 4, 0, 9}, 4));
    EXPECT_NEAR(result[6],
                (4 + 9 + 4 + 4 / std::sqrt(2.0) * 2 + 2 + 4 / std::sqrt(5.0)) /
                    (3 + 2 / std::sqrt(2.0) + 0.5 + 1 / std::sqrt(5.0)),
                1e-12);
    EXPECT_EQ(result[7], 9);
    EXPECT_THAT(takeLog(), IsEmpty());
}

// The bytes after the device's mask are zeros, which would mark pixels.
TEST_F(BadPixelSourceTest, ADeviceMaskIsReadNoFurtherThanItReaches) {
    const std::array<unsigned char, 6> bytes{1, 0, 1, 0, 0, 0};
    std::array<unsigned char, 6> mask{};
    PluginOmbrel::markMaskedPixels(std::span(bytes).first(3), mask);
    EXPECT_THAT(mask, ElementsAre(0, 1, 0, 0, 0, 0));
}

TEST_F(BadPixelSourceTest, WithoutAMaskOrWithMoreThanHalfBadFramesAreMultipliedAndLogged) {
    setUp(Values(6, 2));
    EXPECT_EQ(corrected(*filter, *frameOf({0, 0, 0, 0, 4, 5})), (Values{0, 0, 0, 0, 8, 10}));
    EXPECT_THAT(takeLog(), ElementsAre("Too many bad pixels (4) to interpolate."));
    EXPECT_NE(corrected(*filter, *frameOf({0, 0, 0, 3, 4, 5}))[0], 0);
    EXPECT_THAT(takeLog(), IsEmpty());
    setUp(Values(6, 2));
    filter->setUseZeroPixelsForBadPixels(false);
    EXPECT_EQ(corrected(*filter, *frameOf({0, 1, 2, 3, 4, 5})), (Values{0, 2, 4, 6, 8, 10}));
    EXPECT_THAT(takeLog(), ElementsAre(maskSizesDiffer));
}

TEST_F(BadPixelSourceTest, InterpolationAloneRefusesOtherFrames) {
    EXPECT_EQ(filter->interpolateBadPixels(frameOf<float>(zt::DT_FLOAT, std::vector<float>(6)).get()), -1005);
    EXPECT_THAT(takeLog(), ElementsAre("Cannot interpolate bad pixels - frame is not of type double"));
    EXPECT_EQ(filter->interpolateBadPixels(frameOf(Values(6, 1)).get()), -1005);
    EXPECT_THAT(takeLog(), ElementsAre(maskSizesDiffer));
    const auto zeros = frameOf(Values(6, 0));
    filter->generateBadPixelMaskFromZeroPixels(zeros.get());
    EXPECT_EQ(filter->interpolateBadPixels(zeros.get()), -1018);
}

} // namespace
