#include "FilterFixtures.h"
#include "kernels/PixelBits.h"

#include <array>
#include <functional>

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
    PluginOmbrel::PixelBits marks;
    marks.clear(6);
    marks.addZeros(std::span(bytes).first(3));
    std::array<unsigned char, 6> mask{};
    marks.expand(mask);
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

// What a filter keeps from frame to frame must not show: after each change it gives the bits of a filter that
// never saw a frame before. 40 x 30 pixels.
class KeptMaskTest : public FilterTests<40, 30> {
protected:
    static constexpr std::size_t size = 1200;
    using Filter = std::unique_ptr<PluginOmbrel::FFFilter, Destroy>;

    KeptMaskTest() {
        for (std::size_t i = 0; i < size; ++i)
            measured[i] = static_cast<double>(i * 7919 % 1009 + 1);
        for (std::size_t i = 3; i < size; i += 37)
            coefficients[i] = i % 2 != 0 ? 9 : 0.01;
    }

    Filter newFilter() { return Filter(new PluginOmbrel::FFFilter(&host, &device)); }

    // As the settings file of a user has them.
    void load(PluginOmbrel::FFFilter& filter) {
        const std::unique_ptr<ombrel::Settings> settings = storeOf();
        filter.loadFromSettings(settings.get());
    }

    std::unique_ptr<ombrel::Settings> storeOf() {
        auto settings = std::make_unique<ombrel::Settings>("", [](const std::string&) {});
        settings->setBool("FF", "UseZeroPixels", zeros);
        settings->setBool("FF", "UseFFCoeffs", !zeros);
        settings->setBool("FF", "UseDevMask", useDevice);
        settings->setDouble("FF", "BadFFOverCoeff", over);
        settings->setInt("FF", "CoeffsSize", static_cast<int>(size));
        settings->setInt("FF", "TDICoeffsSize", 0);
        settings->setBlob("FF", "Coeffs", coefficients.data(), size * sizeof(double));
        return settings;
    }

    // Two frames, so that the second one meets what was kept of the first.
    void expectAsFresh(const char* change) {
        for (int frame = 0; frame < 2; ++frame) {
            const Filter fresh = newFilter();
            load(*fresh);
            const auto input = frameOf(measured, width);
            EXPECT_TRUE(sameBits(corrected(*kept, *input), corrected(*fresh, *input))) << change << frame;
        }
    }

    Values measured = Values(size);
    Values coefficients = Values(size, 1.25);
    std::vector<zt::u8> mask = std::vector<zt::u8>(size, 1);
    zt::u32 width = 40;
    double over = 5;
    bool zeros = false;
    bool useDevice = true;
    Filter kept = newFilter();
};

TEST_F(KeptMaskTest, EveryChangeCountsFromTheNextFrameOn) {
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"coefficients", [&] { coefficients[500] = 8; }},
        {"coefficient back", [&] { coefficients[500] = 1.25; }},
        {"limit", [&] { over = 20; }},
        {"shape", [&] { width = 30; }},
        {"shape back", [&] { width = 40; }},
        {"zero pixels", [&] { zeros = true, measured[44] = measured[45] = 0; }},
        {"other zero pixels", [&] { measured[44] = 5, measured[700] = 0; }},
        {"coefficients as source", [&] { zeros = false; }},
        {"more bad than are kept", [&] { std::fill_n(coefficients.begin() + 200, 300, 0.0); }},
        {"more than half", [&] { std::fill_n(coefficients.begin() + 200, 700, 0.0); }},
        {"few", [&] { std::fill_n(coefficients.begin() + 200, 700, 1.0); }},
    };
    load(*kept);
    expectAsFresh("first");
    for (const auto& [name, change] : changes) {
        change();
        load(*kept);
        expectAsFresh(name);
    }
}

TEST_F(KeptMaskTest, TheDevicesMaskIsComparedOnEveryFrame) {
    const auto expectAfter = [&](const char* change) {
        device.pixels().setMask(mask);
        expectAsFresh(change);
    };
    load(*kept);
    expectAfter("none masked");
    mask[7] = mask[8] = mask[639] = 0;
    expectAfter("masked");
    mask[8] = 1;
    mask[9] = 0;
    expectAfter("as many, elsewhere");
    useDevice = false;
    kept->setUseDeviceMaskForBadPixels(false);
    expectAsFresh("switched off");
    useDevice = true;
    kept->setUseDeviceMaskForBadPixels(true);
    expectAsFresh("switched on");
}

TEST_F(KeptMaskTest, LoadedCoefficientsReplaceThoseInUse) {
    load(*kept);
    expectAsFresh("settings");
    const std::string path = folder / "table.ffc";
    coefficients[611] = 0;
    writeFileText(path,
                  std::string(reinterpret_cast<const char*>(coefficients.data()), size * sizeof(double)));
    EXPECT_EQ(kept->loadCoefficientsFromFile(path.c_str(), false), 0);
    expectAsFresh("file");
    EXPECT_NE(kept->loadCoefficientsFromFile("", false), 0);
    coefficients = Values(size, 1);
    expectAsFresh("failed file");
}

} // namespace
