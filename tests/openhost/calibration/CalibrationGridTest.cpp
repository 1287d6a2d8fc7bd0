// The grid of a calibration: its points, the table that names its frames, the coarser grid within, its file.
#include "calibration/CalibrationGrid.h"

#include "base/CsvTable.h"
#include "base/Error.h"
#include "calibration/CalibrationGridTable.h"
#include "calibration/CalibrationHeap.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "fixtures/Testing.h"

#include <optional>

using ombrel::CalibrationGrid;
using ombrel::CalibrationHeap;
using ombrel::GridPoint;
using ::testing::Optional;

namespace {

// What is said of a grid that is refused.
std::string refusal(const std::vector<GridPoint>& taken, const std::vector<GridPoint>& holes = {}) {
    return errorOf([&] { CalibrationGrid(taken, holes); });
}

TEST(CalibrationGrid, SortsItsValuesAndOrdersThePointsWithEFastest) {
    const std::vector<GridPoint> taken = {{2, 5, 1}, {1, 5, -0.0f}, {2, 5, 0}};
    const CalibrationGrid grid(taken, std::vector<GridPoint>{{1, 5, 1}});
    EXPECT_THAT(grid.v(), ElementsAre(1, 2));
    EXPECT_THAT(grid.t(), ElementsAre(5));
    EXPECT_THAT(grid.e(), ElementsAre(0, 1));
    EXPECT_FALSE(std::signbit(grid.e()[0]));
    EXPECT_THAT(grid.points(), ElementsAre(Optional(1u), std::nullopt, Optional(2u), Optional(0u)));
}

TEST(CalibrationGrid, ListsThePointsThatAreMissing) {
    EXPECT_THAT(refusal({{1, 1, 0.1f}, {2, 2, 0.1f}}),
                HasSubstr("2 of 4 grid points are missing: 1,2,0.1; 2,1,0.1; add a file"));
    EXPECT_THAT(refusal({{1, 1, 1}, {2, 2, 1}}, {{1, 2, 1}}),
                HasSubstr("1 of 4 grid points is missing: 2,1,1;"));
    std::vector<GridPoint> diagonal;
    for (int i = 0; i < 100'000; ++i)
        diagonal.push_back({static_cast<float>(i), static_cast<float>(-i), static_cast<float>(2 * i)});
    EXPECT_THAT(refusal(diagonal),
                HasSubstr("999999999900000 of 1000000000000000 grid points are missing: "));
}

TEST(CalibrationGrid, RefusesPointsThatMakeNoGrid) {
    EXPECT_THAT(refusal({}), HasSubstr("no point"));
    EXPECT_THAT(refusal({{1, 1, 1}, {1, 1, 1}}), HasSubstr("1,1,1 is named twice"));
    EXPECT_THAT(refusal({{1, 1, 1}, {1, 1, 2}}, {{1, 1, 2}}),
                HasSubstr("1,1,2 is a hole and also has a file"));
    EXPECT_THAT(refusal({{1, 1, 1}}, {{1, 1, 2}}), HasSubstr("hole 1,1,2: the grid has no such point"));
    EXPECT_THAT(refusal({{1, 1, 2}, {2, 1, 1}, {2, 1, 2}}, {{1, 1, 1}}), HasSubstr("cannot be a hole"));
    EXPECT_THAT(refusal({{1, NAN, 2}, {1, 1, 1}}), HasSubstr("1,nan,2: V, T and E must be finite"));
}

class AdaptiveGrid : public ::testing::Test {
protected:
    std::vector<ombrel::GridRow> read(const std::string& text) const {
        std::ofstream(table) << text;
        return ombrel::readGridTable(table);
    }
    std::string refusal(const std::string& text) const {
        return errorOf([&] { const ombrel::CalibrationGridFlats flats(table, read(text)); });
    }

    const TemporaryFolder folder;
    const std::string table = folder / "grid.csv";
};

TEST(CsvLine, SplitsAtCommasOutsideQuotes) {
    EXPECT_THAT(*ombrel::splitCsvLine(" 1 , \"a, \"\"b\"\" \" ,, c d\r"),
                ElementsAre("1", "a, \"b\" ", "", "c d"));
    EXPECT_FALSE(ombrel::splitCsvLine("1,\"open"));
    EXPECT_FALSE(ombrel::splitCsvLine("\"a\" b,2"));
}

TEST_F(AdaptiveGrid, ReadsColumnsInAnyOrderAndFilesFromItsOwnFolder) {
    const auto rows = read("\xEF\xBB\xBF# taken on a Tuesday\r\nfile,page,e,t,v\r\n\r\na.tif,3,1,2,-0\r\n"
                           "/b.h5::/x,,1e1,2,3\r\n");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].point, (GridPoint{0, 2, 1}));
    EXPECT_EQ(rows[0].file, folder / "a.tif");
    EXPECT_EQ(rows[0].page, 3u);
    EXPECT_EQ(rows[0].line, 4u);
    EXPECT_EQ(rows[1].file, "/b.h5::/x");
    EXPECT_EQ(rows[1].page, std::nullopt);
    EXPECT_EQ(rows[1].point, (GridPoint{3, 2, 10}));
}

TEST_F(AdaptiveGrid, ListsAllLinesThatAreWrong) {
    EXPECT_THAT(refusal("v,t,e,file\n1,2,x,a\n1,2,3\n1,2,inf,a\n1,2,3,\n1,2,4,a\n1,2,4.0,b\n"),
                AllOf(HasSubstr("line 2: \"x\" is not a number for e"), HasSubstr("line 3: 3 fields, not 4"),
                      HasSubstr("line 4: \"inf\""), HasSubstr("line 5: no file"),
                      HasSubstr("line 7: its grid point is named in line 6 already")));
    EXPECT_THAT(refusal("v,t,file\n"), HasSubstr("line 1: the column e is missing"));
    EXPECT_THAT(refusal("v,t,e,file,v\n"), HasSubstr("line 1: \"v\""));
    EXPECT_THAT(refusal("v,t,e,file\n# nothing\n"), HasSubstr("names no flat field"));
}

TEST_F(AdaptiveGrid, ListsAllFilesThatAreWrong) {
    writeTiff(folder / "a.tif", ImageStack<zt::u16>{2, 2, {1, 2, 3, 4}});
    writeTiff(folder / "wide.tif", ImageStack<zt::u16>{4, 1, {1, 2, 3, 4}});
    EXPECT_THAT(refusal("v,t,e,file,page\n1,1,1,a.tif,\n2,1,1,wide.tif,\n3,1,1,a.tif,1\n4,1,1,gone.tif,\n"),
                AllOf(HasSubstr("line 3: "), HasSubstr("wide.tif has 4 x 1 pixels, not 2 x 2"),
                      HasSubstr("line 4: "), HasSubstr("a.tif has no page 1; it has 1"),
                      HasSubstr("line 5: "), HasSubstr("gone.tif")));
}

TEST_F(AdaptiveGrid, AveragesFramesWithAndWithoutTheLastOne) {
    writeTiff(folder / "a.tif", ImageStack<zt::u16>{2, 1, {1, 2, 3, 6, 11, 1}});
    const ombrel::CalibrationGridFlats flats(table, read("v,t,e,file,page\n1,1,1,a.tif,\n2,1,1,a.tif,1\n"));
    const auto all = flats.read(0);
    EXPECT_THAT(all.ofAll, ElementsAre(5, 3));
    EXPECT_THAT(all.ofOthers, ElementsAre(2, 4));
    EXPECT_THAT(all.test->pixels<zt::u16>(), ElementsAre(11, 1));
    EXPECT_TRUE(all.isTestKeptOut());
    const auto single = flats.read(1);
    EXPECT_THAT(single.ofAll, ElementsAre(3, 6));
    EXPECT_EQ(single.ofOthers, single.ofAll);
    EXPECT_FALSE(single.isTestKeptOut());
}

TEST(CoarseGrid, KeepsEverySecondValueAndKnowsWhatLiesBetween) {
    std::vector<GridPoint> points;
    for (const float v : {1, 2, 3, 4})
        for (const float e : {5, 6})
            points.push_back({v, 1, e});
    const auto coarse = ombrel::coarseGridOf(CalibrationGrid(points, {}));
    ASSERT_TRUE(coarse);
    EXPECT_THAT(coarse->grid.v(), ElementsAre(1, 3));
    EXPECT_THAT(coarse->grid.e(), ElementsAre(5, 6));
    EXPECT_THAT(coarse->isKept, ElementsAre(true, true, false, false, true, true, false, false));
    // V = 4 lies after the last value that is kept.
    EXPECT_THAT(coarse->isBetween, ElementsAre(false, false, true, true, false, false, false, false));

    const std::vector<GridPoint> two{{1, 1, 1}, {2, 1, 1}};
    EXPECT_FALSE(ombrel::coarseGridOf(CalibrationGrid(two, {})));
    points.pop_back();
    EXPECT_TRUE(ombrel::coarseGridOf(CalibrationGrid(points, std::vector<GridPoint>{{4, 1, 6}})));
    points.erase(points.begin() + 5);
    EXPECT_FALSE(ombrel::coarseGridOf(CalibrationGrid(points, std::vector<GridPoint>{{4, 1, 6}, {3, 1, 6}})));
}

} // namespace

TEST(CalibrationHeap, LeavesTheOldFileAloneUntilTheNewOneIsWhole) {
    const TemporaryFolder folder;
    const std::string path = folder / "set.bin";
    const CalibrationGrid grid(std::vector<GridPoint>{{1, 5, 0}, {3, 5, 0}}, {});
    ombrel::HeapSettings settings{.elementSize = 4, .width = 3, .height = 2, .compensationMask = {}};
    writeFileText(path, "old");
    {
        CalibrationHeap heap(path, grid, settings);
        heap.append(std::vector<float>(6));
        EXPECT_THROW(heap.append(std::vector<float>(5)), ombrel::Error);
        EXPECT_THROW(heap.commit(), std::logic_error);
    }
    settings.compensationMask = std::span(grid.v());
    EXPECT_THROW(CalibrationHeap(path, grid, settings), ombrel::Error);
    for (const auto& [width, height] : {std::pair(1u, 2u), {2, 0}, {1 << 16, 1 << 16}}) {
        settings = {.elementSize = 4, .width = width, .height = height, .compensationMask = {}};
        EXPECT_THROW(CalibrationHeap(path, grid, settings), ombrel::Error);
    }
    EXPECT_EQ(fileText(path), "old");
    EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(CalibrationHeap, ReplacesHeapsAndEmptyFilesOnly) {
    const TemporaryFolder folder;
    const std::string path = folder / "set.bin";
    EXPECT_TRUE(CalibrationHeap::mayReplace(path));
    const CalibrationGrid grid(std::vector<GridPoint>{{1, 5, 0}, {3, 5, 0}, {1, 6, 0}},
                               std::vector<GridPoint>{{3, 6, 0}});
    const std::vector<float> mask(6);
    CalibrationHeap heap(path, grid, {.elementSize = 4, .width = 3, .height = 2, .compensationMask = mask});
    for (int flat = 0; flat < 3; ++flat)
        heap.append(mask);
    heap.commit();
    EXPECT_TRUE(CalibrationHeap::mayReplace(path));
    const std::string whole = fileText(path);
    const auto mayReplace = [&](const std::string& bytes) {
        writeFileText(path, bytes);
        return CalibrationHeap::mayReplace(path);
    };
    EXPECT_TRUE(mayReplace(""));
    EXPECT_FALSE(mayReplace(whole + "x"));
    for (std::size_t size = 1; size < whole.size(); ++size)
        EXPECT_FALSE(mayReplace(whole.substr(0, size))) << size;
    EXPECT_FALSE(
        mayReplace(std::string(whole).replace(8, 8, "\xff\xff\xff\x7f\xff\xff\xff\x7f"))); // a mask's sides
    EXPECT_FALSE(mayReplace(std::string(whole).replace(40, 8, std::string(8, '\xff'))));   // a count
}
