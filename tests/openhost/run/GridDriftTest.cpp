// Whether a frame lies outside of the grid of flat fields.
#include "fixtures/Testing.h"
#include "run/SelectionLogs.h"

#include <cmath>

namespace {

using namespace ombrel;

// Scores of a search over 4 x 3 x 2 flat fields for a frame at these settings.
std::vector<QualityValue> scoresAt(double v, double t, double e) {
    std::vector<QualityValue> scores;
    for (const double atV : {1, 2, 3, 4})
        for (const double atT : {10, 20, 30})
            for (const double atE : {5, 6}) {
                const double square =
                    1 + std::pow(atV - v, 2) + std::pow((atT - t) / 10, 2) + std::pow(atE - e, 2);
                scores.push_back({std::to_string(static_cast<int>(atV)),
                                  std::to_string(static_cast<int>(atT)),
                                  std::to_string(static_cast<int>(atE)), 1000 * std::sqrt(square)});
            }
    return scores;
}

TEST(GridDrift, FindsTheSidesBeyondWhichTheScoresStillFall) {
    EXPECT_EQ(sidesText(sidesOutside(scoresAt(2.4, 17, 5.5))), "");
    EXPECT_EQ(sidesText(sidesOutside(scoresAt(1.1, 29, 5.1))), ""); // near the border
    EXPECT_EQ(sidesText(sidesOutside(scoresAt(0.9, 31, 5.1))), ""); // hardly beyond it
    EXPECT_EQ(sidesText(sidesOutside(scoresAt(-1.5, 20, 5.2))), "V below");
    EXPECT_EQ(sidesText(sidesOutside(scoresAt(9, 60, 5.2))), "V above, T above");
    EXPECT_EQ(sidesText(sidesOutside(scoresAt(2, 20, 9))), ""); // two values of E show nothing
    EXPECT_EQ(sidesOutside({}), 0);

    DriftNotes notes;
    EXPECT_EQ(notes.text(), "");
    for (const zt::u64 frame : {4, 2, 3, 9})
        notes.add(frame, sidesOutside(scoresAt(-1.5, 20, 5.2)));
    notes.add(5, 0);
    EXPECT_THAT(notes.text(), HasSubstr("4 frames outside the grid of flat fields (V below): 2-4, 9;"));
}

// Ten cells on each of V and T, hardly further apart than the noise, nine measured points, and a
// sample that adds to all scores.
std::vector<QualityValue> refinedScoresAt(double v, double t) {
    std::vector<QualityValue> scores;
    const auto add = [&](double atV, double atT) {
        const double square = 1 + 0.36 * (std::pow(atV - v, 2) + std::pow(atT - t, 2));
        scores.push_back({std::to_string(atV), std::to_string(atT), "1", 2 + std::sqrt(square)});
    };
    for (int i = 0; i < 10; ++i)
        for (int k = 0; k < 10; ++k)
            add(i + 0.5, k + 0.5);
    for (const double atV : {0, 5, 10})
        for (const double atT : {0, 5, 10})
            add(atV, atT);
    return scores;
}

TEST(GridDrift, JudgesARefinedGridByItsCells) {
    EXPECT_EQ(sidesText(sidesOutside(refinedScoresAt(0, 0))), "");
    EXPECT_EQ(sidesText(sidesOutside(refinedScoresAt(10, 3.2))), "");
    EXPECT_EQ(sidesText(sidesOutside(refinedScoresAt(-4, 3.2))), "V below");
}

} // namespace
