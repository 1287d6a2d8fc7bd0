#include "FilterFixtures.h"

namespace {

class FFFilterSourcesTest : public FFFilterFixture {
protected:
    int load(std::vector<std::string> files) {
        return filter->loadCoefficientsFromFile(std::move(files), false);
    }

    std::string written(const std::string& name, const std::string& text) {
        writeFileText(folder / name, text);
        return folder / name;
    }

    std::string flat(const std::string& name, const Values& pixels, zt::u32 width = 3) {
        host.frames().defineFrame(name, frameOf(pixels, width));
        return name;
    }

    struct Load {
        std::vector<std::string> files;
        int code;
        std::vector<std::string> log;
        Values coefficients;
    };
    // One after the other by the same filter.
    void expectLoads(const std::vector<Load>& loads) {
        for (const auto& [files, code, lines, coefficients] : loads) {
            SCOPED_TRACE(testing::PrintToString(files));
            EXPECT_EQ(load(files), code);
            EXPECT_EQ(takeLog(), lines);
            EXPECT_EQ(coefficientsOf(*filter, coefficients.size()), coefficients);
        }
    }

    const Values ones = Values(6, 1);
    const Values lastIsHalf{1, 1, 1, 1, 1, 0.5};
    const std::string sizesDiffer = "Frame dimensions do not match";
};

TEST_F(FFFilterSourcesTest, FlatFieldsBecomeTheirMedianOverEachValue) {
    const std::string a = flat("a", {1, 2, 3, 4, 5, 6});
    const std::string b = flat("b", {3, 2, 1, 0, 5, 6});
    const std::string ascii = written("c.txt", "5 2 5 2\n5 6 junk behind");
    const double third = 1.0 / 3;
    const double median = 9 * third; // of 9 6 9 6 15 18, times a third
    expectLoads({
        {{flat("flat", {1, 2, 3, 4, 0, 8})}, 0, {}, {2, 1, 2.0 / 3, 0.5, 0, 0.25}},
        {{flat("even", Values(6, 7.1))}, 0, {}, ones},
        // All frames of all files weigh the same.
        {{a, b, ascii},
         0,
         {},
         {median / (9 * third), median / (6 * third), median / (9 * third), median / (6 * third),
          median / (15 * third), median / (18 * third)}},
        {{flat("small", {1, 2, 3, 4}, 2)}, -1005, {sizesDiffer}, ones},
        {{flat("good", {1, 1, 1, 1, 1, 2}), "small"}, -1005, {sizesDiffer}, lastIsHalf},
    });
    EXPECT_EQ(filter->coeffsSourceName, "<Multiple files>");
    EXPECT_EQ(load({"even"}), 0);
    EXPECT_EQ(filter->coeffsSourceName, "even");
    EXPECT_EQ(coefficientsOf(*filter, 6, true), ones);
    EXPECT_EQ(load({flat("large", Values(8, 1), 4)}), 0); // and refused by each frame
    EXPECT_THAT(coefficientsOf(*filter), IsEmpty());
}

TEST_F(FFFilterSourcesTest, ColumnsAreAveragedTermByTerm) {
    // One third is added three times over: the sum of the values first would give other bits.
    ombrel::Device& tall = host.addDevice(1, 1, 3);
    PluginOmbrel::FFFilter own(&host, &tall);
    ASSERT_EQ(own.loadCoefficientsFromFile(flat("tall", {0.1, 0.7, 0.1}, 1).c_str(), true), 0);
    EXPECT_EQ(coefficientsOf(own, 3, true), (Values{1, 1, 1}));

    host.frames().defineFrame("wide", frameOf({0.1, 1, 5, 0.2, 1, 5}));
    ASSERT_EQ(load({"wide"}), 0);
    const double first = 0.1 / 2 + 0.2 / 2;
    EXPECT_EQ(coefficientsOf(*filter, 3 * 2, true), (Values{1 / first, 1, 0.2, 1 / first, 1, 0.2}));
}

TEST_F(FFFilterSourcesTest, PreparedFilesAreTakenAsTheyAre) {
    const std::string a = writtenTable("a.ffc", {1, 2, 3, 4, 5, 6});
    const std::string flatField = flat("flat", {3, 2, 1, 0, 5, 6});
    expectLoads({
        {{a}, 0, {}, {1, 2, 3, 4, 5, 6}},
        {{a, writtenTable("offc", {3, 2, 1, 0, 5, -6})}, 0, {}, {2, 2, 2, 2, 5, 0}},
        {{a, flatField}, 0, {}, {2, 2, 2, 2, 5, 6}}, // the first file decides for all
        {{flatField, a}, 0, {}, {1, 1, 1, 1, 2.0 / 5, 2.0 / 6}},
        {{writtenTable("long.ffc", {1, 2, 3, 4, 5, 6, 7})}, 0, {}, {1, 2, 3, 4, 5, 6, 7}},
    });
    EXPECT_THAT(coefficientsOf(*filter, 6), IsEmpty());
    EXPECT_THAT(takeLog(), ElementsAre(sizesDiffer));
    expectLoads({{{written("odd.ffc", std::string(3 * 8 + 5, '\0'))}, 0, {}, {0, 0, 0}}});
    EXPECT_EQ(load({written("empty.ffc", "")}), 0);
    EXPECT_THAT(coefficientsOf(*filter), IsEmpty());
    EXPECT_THAT(takeLog(), ElementsAre("No flat-field coefficients loaded"));

    // The columns are those of the earlier source.
    ASSERT_EQ(load({flat("columns", {1, 2, 4, 1, 2, 4})}), 0);
    ASSERT_EQ(load({a}), 0);
    EXPECT_EQ(coefficientsOf(*filter, 6, true), (Values{2, 1, 0.5, 2, 1, 0.5}));
}

TEST_F(FFFilterSourcesTest, FailuresAreLoggedAndLeaveOnes) {
    const std::string none = folder / "none%d%s.ffc";
    expectLoads({{{}, -1, {}, ones},
                 {{none}, -1, {"Could not load FF coefficients binary from file " + none}, ones}});
    std::vector<std::string> unreadable{folder / "none.txt", folder / std::string(2000, 'x'),
                                        folder.path.string()};
    for (const char* text : {"", "1 2 3 4 5", "1 2 3 four 5 6"})
        unreadable.push_back(written("bad" + std::string(text) + ".txt", text));
    for (const std::string& file : unreadable)
        expectLoads({{{file}, -1, {"Could not load FF coefficients from ascii file " + file}, ones}});
    EXPECT_EQ(filter->loadCoefficientsFromFile(nullptr, false), -1);
    EXPECT_EQ(coefficientsOf(*filter), ones);
}

TEST_F(FFFilterSourcesTest, TheLastFilesCodeCountsWhereItHasOne) {
    const std::string good = written("good.txt", "1 1 1 1 1 2");
    const std::string shortOne = written("short.txt", "1");
    const std::string line = "Could not load FF coefficients from ascii file " + shortOne;
    expectLoads({{{good, shortOne}, -2, {line}, lastIsHalf},
                 {{shortOne, good}, 0, {line}, lastIsHalf},
                 // A frame file has none: the code before it stays.
                 {{shortOne, flat("flat", {1, 1, 1, 1, 1, 2})}, -2, {line}, lastIsHalf}});
}

TEST_F(FFFilterSourcesTest, SavesPreparedTablesThatOnlyTheBinaryFormGivesBack) {
    const std::string unsaved = folder / "unsaved.ffc";
    EXPECT_EQ(filter->saveCoefficientsToFile(unsaved.c_str(), false), 0);
    EXPECT_THAT(takeLog(), ElementsAre("Cannot save flat-field coefficients to file " + unsaved +
                                       ". No coefficients loaded."));
    ASSERT_EQ(load({flat("flat", {1, 2, 3, 4, 0, 8})}), 0);
    const Values saved = coefficientsOf(*filter);
    EXPECT_EQ(filter->saveCoefficientsToFile((folder / "a.ffc").c_str(), false), 0);
    EXPECT_EQ(filter->saveCoefficientsToFile((folder / "a.txt").c_str(), true), 0);
    // Six decimals, 256 values a line.
    EXPECT_EQ(fileText(folder / "a.txt"), "2.000000 1.000000 0.666667 0.500000 0.000000 0.250000 ");
    EXPECT_EQ(load({folder / "a.ffc"}), 0);
    EXPECT_EQ(coefficientsOf(*filter), saved);
    EXPECT_EQ(load({folder / "a.txt"}), 0);
    EXPECT_EQ(coefficientsOf(*filter), (Values{0.25, 0.5, 0.5 / 0.666667, 1, 0, 2}));

    const std::string nowhere = folder / "no/such/a.ffc";
    EXPECT_EQ(filter->saveCoefficientsToFile(nowhere.c_str(), false), -1);
    EXPECT_EQ(filter->saveCoefficientsToFile("/dev/full", true), -3);
    EXPECT_THAT(takeLog(),
                ElementsAre("Cannot save flat-field coefficients to file " + nowhere + ". Error -1",
                            "Cannot save flat-field coefficients to file /dev/full. Error -3"));
}

using FFFilterAcquisitionTest = FFFilterFixture;

TEST_F(FFFilterAcquisitionTest, TakesTheLastFrameOrTheSumOfAll) {
    acquire({{1, 1, 1, 1, 1, 7}, {1, 1, 1, 1, 1, 3}});
    EXPECT_EQ(filter->loadCoefficientsFromAcquisition(false), 0);
    EXPECT_EQ(coefficientsOf(*filter), (Values{1, 1, 1, 1, 1, 1.0 / 3}));
    EXPECT_EQ(filter->coeffsSourceName, "<From last measured frame>");
    EXPECT_EQ(filter->loadCoefficientsFromAcquisition(true), 0);
    EXPECT_EQ(coefficientsOf(*filter), (Values{1, 1, 1, 1, 1, 0.2}));
    EXPECT_EQ(filter->coeffsSourceName, "<From all measured frames>");
}

TEST_F(FFFilterAcquisitionTest, KeepsTheCoefficientsWhenNothingFitsWasMeasured) {
    filter = filterWith({1, 2, 3, 4, 5, 6});
    EXPECT_EQ(filter->loadCoefficientsFromAcquisition(true), -1);
    EXPECT_THAT(takeLog(), ElementsAre("Cannot load flat-field coefficients. No frames measured"));
    EXPECT_EQ(filter->coeffsSourceName, "<From all measured frames>");
    acquire({Values(6, 1), Values(9, 1)});
    EXPECT_EQ(filter->loadCoefficientsFromAcquisition(true), -1005);
    EXPECT_THAT(takeLog(), ElementsAre("Frame dimensions do not match"));
    EXPECT_EQ(coefficientsOf(*filter), (Values{1, 2, 3, 4, 5, 6}));
}

TEST_F(FFFilterAcquisitionTest, AsksOnceWhichSubFrameToTake) {
    std::vector<ombrel::FramePtr> frames;
    for (int i = 0; i < 2; ++i) {
        frames.push_back(frameOf({3, 3, 3, 3, 3, 6}));
        frames.back()->addSubFrame(frameOf({1, 1, 1, 1, 1, 1}));
        frames.back()->addSubFrame(frameOf({2, 2, 2, 2, 2, 8}));
    }
    device.setAcquisition(std::move(frames));

    std::vector<std::string> labels;
    const auto unanswered = filterwindows::subFrameAnswer;
    for (const auto& [answer, last] : {std::pair(1, 0.25), std::pair(-1, 0.5), std::pair(7, 0.5)}) {
        filterwindows::subFrameAnswer = [&, index = answer](const std::string& label) {
            labels.push_back(label);
            return index;
        };
        EXPECT_EQ(filter->loadCoefficientsFromAcquisition(true), 0);
        EXPECT_EQ(coefficientsOf(*filter), (Values{1, 1, 1, 1, 1, last})) << answer;
    }
    filterwindows::subFrameAnswer = unanswered;
    EXPECT_THAT(labels, AllOf(testing::SizeIs(3), Each("Select sub-frame for Flat-Field correction")));
}

} // namespace
