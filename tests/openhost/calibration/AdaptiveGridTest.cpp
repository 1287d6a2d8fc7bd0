// The table of a calibration grid, the frames that it names, and the coarser grid within.

#include "base/CsvTable.h"
#include "calibration/CalibrationGrid.h"
#include "calibration/CalibrationGridTable.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"

#include <optional>

namespace {

using ombrel::CalibrationGrid;
using ombrel::GridPoint;

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
    // V = 4 lies behind the last value that is kept.
    EXPECT_THAT(coarse->isBetween, ElementsAre(false, false, true, true, false, false, false, false));

    const std::vector<GridPoint> two{{1, 1, 1}, {2, 1, 1}};
    EXPECT_FALSE(ombrel::coarseGridOf(CalibrationGrid(two, {})));
    points.pop_back();
    EXPECT_TRUE(ombrel::coarseGridOf(CalibrationGrid(points, std::vector<GridPoint>{{4, 1, 6}})));
    points.erase(points.begin() + 5);
    EXPECT_FALSE(ombrel::coarseGridOf(CalibrationGrid(points, std::vector<GridPoint>{{4, 1, 6}, {3, 1, 6}})));
}

} // namespace
