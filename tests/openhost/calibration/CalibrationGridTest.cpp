#include "calibration/CalibrationGrid.h"

#include "fixtures/Messages.h"
#include "fixtures/Testing.h"

using ::testing::Optional;

namespace {

using ombrel::CalibrationGrid;
using ombrel::GridPoint;

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

} // namespace
