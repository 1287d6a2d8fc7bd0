#include "FilterFixtures.h"

namespace {

using PluginOmbrel::BHFilter;

constexpr const char* noTime = "Acquisition time cannot be zero";

std::vector<double> valuesOf(const PluginOmbrel::Buffer<double>& buffer) {
    const auto values = buffer.span();
    return {values.begin(), values.end()};
}

class BHFilterMasksTest : public BHFilterFixture {
protected:
    void expectRefused(int result, const std::string& line) {
        EXPECT_EQ(result, -1005);
        EXPECT_THAT(takeLog(), ElementsAre(line));
    }
};

TEST_F(BHFilterMasksTest, TakesFramesOfThreeTypesAndTheMeansOfTheirColumns) {
    EXPECT_EQ(filter->addMaskFromFrame(frameOf<short>(zt::DT_I16, {-1, 2, 3, 4}, 2).get(), 1, 3), 0);
    EXPECT_EQ(filter->addMaskFromFrame(frameOf<zt::u32>(zt::DT_U32, {4000000000u, 2, 3, 4}, 2).get(), 2, 3),
              0);
    EXPECT_EQ(filter->addMaskFromFrame(frameOf({0.5, 2, 3, 4}, 2).get(), 3, 3), 0);
    ASSERT_EQ(filter->masks().size(), 3u);
    EXPECT_THAT(valuesOf(filter->masks()[0]->data), ElementsAre(-1, 2, 3, 4));
    EXPECT_THAT(valuesOf(filter->masks()[0]->tdiData), ElementsAre(1, 3));
    EXPECT_THAT(valuesOf(filter->masks()[1]->data), ElementsAre(4e9, 2, 3, 4));
    EXPECT_THAT(valuesOf(filter->masks()[2]->data), ElementsAre(0.5, 2, 3, 4));
    EXPECT_EQ(filter->masks()[2]->name, "Mask 3");
}

TEST_F(BHFilterMasksTest, RefusesWhatIsNoMaskAndKeepsItsSize) {
    const std::string noSuchMask = "Cannot remove mask. Invalid index (1 >= 1)";
    expectRefused(filter->addMaskFromFrame(nullptr, 1, 1), "Frame cannot be null");
    expectRefused(filter->addMaskFromFrame(frameOf<zt::u16>(zt::DT_U16, {1, 2, 3, 4}).get(), 1, 1),
                  "Cannot make a mask of a frame of data type 3");
    EXPECT_EQ(addMask(Values(12, 1), 1), 0);
    expectRefused(addMask(Values(8, 1), 2), "Dimensions of frame does not match");
    expectRefused(filter->removeMask(1), noSuchMask);
    EXPECT_EQ(filter->lastError().c_str(), noSuchMask);
    EXPECT_EQ(filter->lastError().size(), 512u);
    EXPECT_EQ(filter->removeMask(0), 0);
    EXPECT_EQ(addMask(Values(8, 1), 2), 0); // an empty set takes any size
}

TEST_F(BHFilterMasksTest, SumsTheFramesOfFilesAndTheirTimes) {
    auto timed = frameOf(Values(12, 2));
    timed->setAcqTime(0.5);
    host.frames().defineFrame("a", std::move(timed));
    host.frames().defineFrame("b", frameOf(Values(12, 3)));
    host.frames().defineFrame("small", frameOf(Values(8, 3)));

    EXPECT_EQ(filter->addMaskFromFiles({"a", folder / "none.txt", "b"}, 4, 2), 0);
    EXPECT_EQ(valuesOf(filter->masks()[0]->data), Values(12, 5));
    EXPECT_EQ(filter->masks()[0]->acqTime, 4);
    EXPECT_EQ(filter->addMaskFromFiles({"a"}, 4, BHFilter::AUTO), 0);
    EXPECT_EQ(filter->masks()[1]->acqTime, 0.5);
    EXPECT_THAT(takeLog(), IsEmpty());

    const std::string none = folder / "none.txt";
    expectRefused(filter->addMaskFromFiles({"a", "b"}, 4, BHFilter::AUTO), noTime);
    expectRefused(filter->addMaskFromFiles({"a", "small"}, 4, 1), "Dimensions of frames does not match");
    expectRefused(filter->addMaskFromFiles({none}, 4, 1), "Frame cannot be null");
    EXPECT_EQ(filter->masks().size(), 2u);
    EXPECT_EQ(filter->addMaskFromFile(none.c_str(), 1, 1), -1005);
    EXPECT_THAT(takeLog(), ElementsAre("Cannot load mask from file (" + none + ")", "Frame cannot be null"));
    EXPECT_EQ(filter->addMaskFromFile("b", 1, BHFilter::AUTO), 0); // its missing time shows later
}

TEST_F(BHFilterMasksTest, SumsAcquiredFramesOrTheChosenSubFrame) {
    EXPECT_EQ(filter->addMaskFromAcqData(1), -1);
    EXPECT_THAT(takeLog(), ElementsAre("No data measured."));

    const auto acquire = [&] {
        std::vector<ombrel::FramePtr> frames;
        for (const double value : {1.0, 2.0}) {
            auto frame = frameOf(Values(12, 10 * value));
            frame->setAcqTime(value);
            frame->addSubFrame(frameOf(Values(12, value)));
            frames.push_back(std::move(frame));
        }
        device.setAcquisition(std::move(frames));
    };
    acquire();
    EXPECT_EQ(filter->addMaskFromAcqData(1), 0);
    std::string asked;
    filterwindows::subFrameAnswer = [&](const std::string& label) {
        asked = label;
        return 0;
    };
    EXPECT_EQ(filter->addMaskFromAcqData(2), 0);
    filterwindows::subFrameAnswer = [](const std::string&) { return -1; };
    EXPECT_EQ(asked, "Select sub-frame for Beam-Hardening correction");
    EXPECT_EQ(valuesOf(filter->masks()[0]->data), Values(12, 30));
    EXPECT_EQ(valuesOf(filter->masks()[1]->data), Values(12, 3));
    EXPECT_EQ(filter->masks()[1]->acqTime, 3);
}

TEST_F(BHFilterMasksTest, BecomeLogarithmsOnceAndUpToAMaskWithoutATime) {
    addMask(Values(12, 8), 1, 8);
    addMask(Values(12, 0), 2, 0);
    addMask(Values(12, 4), 3, 1);
    for (int run = 0; run < 2; ++run)
        filter->logarithmMasks();
    EXPECT_THAT(takeLog(), ElementsAre(noTime, noTime));
    EXPECT_EQ(valuesOf(filter->masks()[0]->data), Values(12, 0));
    EXPECT_EQ(valuesOf(filter->masks()[0]->tdiData), Values(4, 0));
    EXPECT_EQ(valuesOf(filter->masks()[2]->data), Values(12, 4));
    filter->masks()[2]->thickness = 0.5;
    filter->sortMasks();
    EXPECT_EQ(filter->masks()[0]->thickness, 0.5);
    EXPECT_EQ(filter->masks()[2]->thickness, 2);
}

class BHFilterSettingsTest : public BHFilterFixture {
protected:
    void storeMask(const char* group, int size, int width, std::size_t values) {
        const Values data(values, 2.0);
        store->setInt(group, "Size", size);
        store->setInt(group, "Width", width);
        store->setInt(group, "Height", 3);
        store->setBlob(group, "Data", data.data(), values * sizeof(double));
        store->setBlob(group, "TDIData", data.data(), 4 * sizeof(double));
    }
    const std::string path = folder / "bh.xml";
    std::unique_ptr<ombrel::Settings> store = host.openSettings(path);
};

TEST_F(BHFilterSettingsTest, GiveBackTheFilterToTheLastBit) {
    addTwoMasks();
    const auto frame = frameOf({0.3, 0.2, 0.1, 1e-9, 5, 0, 0.3, 0.2, 0.1, 1e-9, 5, -1});
    const Values expected = corrected(*filter, *frame);
    filter->setUseZeroPixelsAsBad(true);
    filter->setInterpolateBadPixelsEnabled(false);
    EXPECT_EQ(filter->saveToSettings(store.get()), 0);
    store->saveFile();

    const auto again = host.openSettings(path);
    again->loadFile();
    const Filter loaded = newFilter();
    EXPECT_EQ(loaded->loadFromSettings(again.get()), 0);
    EXPECT_TRUE(loaded->isUseZeroPixelsAsBadEnabled());
    EXPECT_FALSE(loaded->isInterpolateBadPixelsEnabled());
    EXPECT_TRUE(loaded->masks()[0]->logarithmed);
    EXPECT_EQ(corrected(*loaded, *frame), expected);

    // Masks that were loaded and are gone are gone from the file too.
    loaded->removeAllMasks();
    loaded->showConfigGUI();
    again->loadFile();
    EXPECT_EQ(again->getInt("Settings", "MaskCount", -1), 0);
}

TEST_F(BHFilterSettingsTest, AreLeftAloneByAFilterThatNeverHadMasks) {
    EXPECT_EQ(filter->saveToSettings(store.get()), 0);
    EXPECT_EQ(store->getInt("Settings", "MaskCount", -7), -7);
}

TEST_F(BHFilterSettingsTest, SkipWhatTheStoreDoesNotHoldWhole) {
    store->setInt("Settings", "MaskCount", 2000000000);
    storeMask("Mask0", 12, 4, 11);         // fewer values than told
    storeMask("Mask1", 2000000000, 4, 12); // far more than stored
    storeMask("Mask2", -12, 4, 12);
    storeMask("Mask3", 12, -1, 12);
    storeMask("Mask4", 12, 5, 12); // fewer columns than told
    storeMask("Mask5", 0, 4, 12);  // without a word
    storeMask("Mask6", 12, 4, 12);
    storeMask("Mask7", 8, 0, 8);
    EXPECT_EQ(filter->loadFromSettings(store.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("2000000000 masks"), HasSubstr("mask 0 "),
                                       HasSubstr("mask 1 "), HasSubstr("mask 2 from settings. Invalid size"),
                                       HasSubstr("mask 3 "), HasSubstr("mask 4 ")));
    ASSERT_EQ(filter->masks().size(), 2u);

    // The second mask does not cover the frame, nor has it columns.
    const auto frame = frameOf(Values(12, 1));
    EXPECT_EQ(filter->filter(frame.get()), nullptr);
    filter->setTDI(true);
    EXPECT_EQ(filter->filterReplace(frame.get()), -1005);
    EXPECT_EQ(filter->generateBadPixels(), -1005);
    EXPECT_THAT(takeLog(),
                ElementsAre("Mask 2 has too few values (8 < 12)", "Mask 2 has too few values (0 < 4)",
                            "Mask 2 has too few values (0 < 4)"));

    store->setInt("Settings", "MaskCount", -1);
    EXPECT_EQ(filter->loadFromSettings(store.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("-1 masks")));
    EXPECT_TRUE(filter->masks().empty());
}

} // namespace
