#include "standalone/RegionReport.h"

#include "fixtures/FrameFiles.h"
#include "fixtures/TemporaryFolder.h"
#include "standalone/Error.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(RegionReport, AveragesTheFiguresOfEachFrameOverFinitePixels) {
    const TemporaryFolder folder;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // In the middle two columns: 3, 5, 3, 5 and then 16, NaN, 16, 16.
    writeTiff(folder / "in.tif",
              ImageStack<double>{4, 2, {9, 3, 5, 9, 9, 3, 5, 9, 0, 16, nan, 0, 0, 16, 16, 0}});
    const ombrel::RegionReport report = ombrel::reportOnRegion(folder / "in.tif", {1, 0, 2, 2});
    EXPECT_DOUBLE_EQ(report.mean, (4 + 16) / 2.0);
    EXPECT_DOUBLE_EQ(report.spread, (1 / 4.0 + 0) / 2);
    EXPECT_DOUBLE_EQ(report.statistics, 1 / std::sqrt(10.0));
    EXPECT_THROW(ombrel::reportOnRegion(folder / "in.tif", {3, 0, 2, 2}), ombrel::Error);
    EXPECT_THROW(ombrel::reportOnRegion(folder / "in.tif", {0, 0, 0, 1}), ombrel::Error);
}
