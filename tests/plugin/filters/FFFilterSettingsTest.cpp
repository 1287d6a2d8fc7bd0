#include "FilterFixtures.h"

#include <numeric>

namespace {

class FFFilterSettingsTest : public FFFilterFixture {
protected:
    Values loadedInto(PluginOmbrel::FFFilter& loading) {
        EXPECT_EQ(loading.loadFromSettings(store.get()), 0);
        return coefficientsOf(loading);
    }

    void setTable(const char* key, const Values& values) {
        store->setBlob("FF", key, values.data(), values.size() * sizeof(double));
    }

    const std::string path = folder / "ff.xml";
    std::unique_ptr<ombrel::Settings> store = host.openSettings(path);
    const Values ones = Values(6, 1);
};

TEST_F(FFFilterSettingsTest, AStoreGivesBackTheFilterToTheLastBit) {
    filter->useTDI(true);
    EXPECT_EQ(filter->saveToSettings(store.get()), 0);
    EXPECT_FALSE(store->getBool("FF", "UseTDI", false)) << "there are no coefficients to store";
    host.frames().defineFrame("flat", frameOf({0.1, 0.2, 0.7, 1e-300, 0, 3}));
    ASSERT_EQ(filter->loadCoefficientsFromFile("flat", false), 0);
    filter->setInterpolateBadMaskedPixels(false);
    filter->setUseDeviceMaskForBadPixels(false);
    filter->setUseFFCoeffsForBadPixels(true);
    filter->useTDI(true);
    EXPECT_EQ(filter->saveToSettings(store.get()), 0);
    store->saveFile();

    const auto again = host.openSettings(path);
    again->loadFile();
    const Filter loaded = newFilter();
    EXPECT_EQ(loaded->loadFromSettings(again.get()), 0);
    for (const bool ofColumns : {false, true})
        EXPECT_EQ(coefficientsOf(*loaded, 6, ofColumns), coefficientsOf(*filter, 6, ofColumns));
    EXPECT_FALSE(loaded->interpolateBadAndMaskedPixels());
    EXPECT_FALSE(loaded->useDeviceMaskForBadPixels());
    EXPECT_FALSE(loaded->useZeroPixelsForBadPixels());
    EXPECT_TRUE(loaded->useFFCoeffsForBadPixels());
    EXPECT_TRUE(loaded->isUsingTDI());
    EXPECT_EQ(again->getDouble("FF", "BadFFOverCoeff", 0), 5.0);
    EXPECT_EQ(again->getDouble("FF", "BadFFUnderCoeff", 0), 0.2);
    EXPECT_EQ(again->getInt("FF", "TDICoeffsSize", 0), 3);
    EXPECT_EQ(loaded->badPixelMaskName, "<Zero pixels>");
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(FFFilterSettingsTest, TheLimitsForCoefficientsAreRead) {
    filter = filterWith({1, 1, 1, 1, 3, 1});
    filter->saveToSettings(store.get());
    store->setBool("FF", "Interpolate", true);
    store->setBool("FF", "UseZeroPixels", false);
    store->setBool("FF", "UseFFCoeffs", true);
    store->setDouble("FF", "BadFFOverCoeff", 2);
    filter->loadFromSettings(store.get());
    EXPECT_NEAR(corrected(*filter, *frameOf(Values(6, 4)))[4], 4, 1e-12);
}

TEST_F(FFFilterSettingsTest, ATableThatIsNotStoredStaysOrIsOnes) {
    filter = filterWith({1, 2, 3, 4, 5, 6});
    EXPECT_EQ(loadedInto(*filter), (Values{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(coefficientsOf(*filter, 6, true), ones);
    store->setInt("FF", "TDICoeffsSize", 3);
    setTable("TDICoeffs", {7, 8, 9});
    EXPECT_EQ(loadedInto(*filter), (Values{1, 2, 3, 4, 5, 6}));
    store->setBlob("FF", "TDICoeffs", nullptr, 0);
    filter->loadFromSettings(store.get());
    EXPECT_EQ(coefficientsOf(*filter, 6, true), (Values{7, 8, 9, 7, 8, 9}));
    EXPECT_THAT(takeLog(), IsEmpty());
    store->setInt("FF", "CoeffsSize", 4);
    EXPECT_EQ(filter->loadFromSettings(store.get()), 0);
    EXPECT_EQ(coefficientsOf(*filter, 4), Values(4, 1));
    EXPECT_THAT(takeLog(), ElementsAre("Flat-field settings hold no Coeffs. Each coefficient is 1"));
}

TEST_F(FFFilterSettingsTest, ColumnsWithoutASizeAreAsManyAsThePixels) {
    filter = filterWith({1, 2, 3, 4, 5, 6});
    store->setInt("FF", "CoeffsSize", 6);
    setTable("Coeffs", {6, 5, 4, 3, 2, 1});
    EXPECT_EQ(loadedInto(*filter), (Values{6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(coefficientsOf(*filter, 6, true), ones);
    store->setInt("FF", "CoeffsSize", 0);
    store->setInt("FF", "TDICoeffsSize", 0);
    EXPECT_EQ(loadedInto(*filter), (Values{6, 5, 4, 3, 2, 1}));
    EXPECT_THAT(takeLog(), IsEmpty());

    Values large(100); // more than the device has
    std::iota(large.begin(), large.end(), 0.0);
    store->setInt("FF", "CoeffsSize", 100);
    setTable("Coeffs", large);
    EXPECT_EQ(filter->loadFromSettings(store.get()), 0);
    EXPECT_EQ(coefficientsOf(*filter, 100), large);
}

TEST_F(FFFilterSettingsTest, SizesThatTheStoreDoesNotBearOutChangeNothing) {
    filter = filterWith({1, 2, 3, 4, 5, 6});
    setTable("TDICoeffs", {7, 8, 9});
    for (const auto& [size, tdiSize] :
         {std::pair(-1, 3), std::pair(7, 3), std::pair(2147483647, 3), std::pair(6, 4),
          std::pair(6, -2147483647), std::pair(6, 2147483647)}) {
        store->setInt("FF", "CoeffsSize", size);
        store->setInt("FF", "TDICoeffsSize", tdiSize);
        setTable("Coeffs", {6, 5, 4, 3, 2, 1});
        EXPECT_EQ(loadedInto(*filter), (Values{1, 2, 3, 4, 5, 6})) << size << " " << tdiSize;
        EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("does not hold"))) << size << " " << tdiSize;
    }
    store->setInt("FF", "CoeffsSize", 2147483647);
    store->setBlob("FF", "Coeffs", nullptr, 0);
    EXPECT_EQ(loadedInto(*filter), (Values{1, 2, 3, 4, 5, 6}));
}

} // namespace
