// Whether a frame lies outside of the grid of flat fields.
#include "run/GridDrift.h"

#include "fixtures/KnownScores.h"
#include "fixtures/Testing.h"
#include "run/SelectionLogs.h"

#include <cmath>
#include <sstream>

namespace {

using namespace ombrel;

// Scores of a search over 4 x 3 x 2 flat fields for a frame at these settings.
KnownScores scoresAt(double v, double t, double e) {
    KnownScores scores;
    for (const double atV : {1, 2, 3, 4})
        for (const double atT : {10, 20, 30})
            for (const double atE : {5, 6}) {
                const double square =
                    1 + std::pow(atV - v, 2) + std::pow((atT - t) / 10, 2) + std::pow(atE - e, 2);
                scores.add(atV, atT, atE, 1000 * std::sqrt(square));
            }
    return scores;
}

// Ten cells on each of V and T, hardly further apart than the noise, nine measured points, and a
// sample that adds to all scores.
KnownScores refinedScoresAt(double v, double t) {
    KnownScores scores;
    const auto add = [&](double atV, double atT) {
        const double square = 1 + 0.36 * (std::pow(atV - v, 2) + std::pow(atT - t, 2));
        scores.add(atV, atT, 1, 2 + std::sqrt(square));
    };
    for (int i = 0; i < 10; ++i)
        for (int k = 0; k < 10; ++k)
            add(i + 0.5, k + 0.5);
    for (const double atV : {0, 5, 10})
        for (const double atT : {0, 5, 10})
            add(atV, atT);
    return scores;
}

std::string sidesOf(IGridScores& scores) {
    GridLines lines;
    lines.follow(scores);
    return sidesText(sidesOutside(lines, scores, TwoBest(scores)));
}

// The log that the filter writes.
std::string logOf(const KnownScores& scores) {
    std::ostringstream text;
    for (std::size_t i = 0; i < scores.candidateCount(); ++i) {
        const auto [v, t, e] = scores.candidate(i);
        text << "[ " << v << ", " << t << ", " << e << ", " << scores.values[i] << " ]\n";
    }
    return text.str() + "\n";
}

// The sides beyond which the frame lies, by its scores as a filter offers them and as a log has them.
void expectSides(KnownScores scores, const std::string& sides) {
    LoggedScores logged(readQualityLog(logOf(scores)));
    ASSERT_EQ(logged.candidateCount(), scores.candidateCount());
    EXPECT_EQ(sidesOf(scores), sides);
    EXPECT_EQ(sidesOf(logged), sides);
}

TEST(GridDrift, FindsTheSidesBeyondWhichTheScoresStillFall) {
    expectSides(scoresAt(2.4, 17, 5.5), "");
    expectSides(scoresAt(1.1, 29, 5.1), ""); // near the border
    expectSides(scoresAt(0.9, 31, 5.1), ""); // hardly beyond it
    expectSides(scoresAt(-1.5, 20, 5.2), "V below");
    expectSides(scoresAt(9, 60, 5.2), "V above, T above");
    expectSides(scoresAt(2, 20, 9), ""); // two values of E show nothing

    DriftNotes notes;
    EXPECT_EQ(notes.text(), "");
    for (const zt::u64 frame : {4, 2, 3, 9})
        notes.add(frame, 1);
    notes.add(5, 0);
    EXPECT_THAT(notes.text(), HasSubstr("4 frames outside the grid of flat fields (V below): 2-4, 9;"));
}

TEST(GridDrift, JudgesARefinedGridByItsCells) {
    expectSides(refinedScoresAt(0, 0), "");
    expectSides(refinedScoresAt(10, 3.2), "");
    expectSides(refinedScoresAt(-4, 3.2), "V below");

    // Both best are measured points, so that the best cell is sought among all.
    KnownScores scores = refinedScoresAt(-4, 3.2);
    scores.values[100] = 2.5f;
    scores.values[101] = 2.6f;
    expectSides(scores, "V below");
}

TEST(GridDrift, AsksForFewScores) {
    KnownScores scores = refinedScoresAt(-4, 3.2);
    EXPECT_EQ(sidesOf(scores), "V below");
    EXPECT_LE(scores.asked, 6u);
    KnownScores inside = refinedScoresAt(4.5, 3.2);
    EXPECT_EQ(sidesOf(inside), "");
    EXPECT_EQ(inside.asked, 0u);
}

TEST(GridDrift, FollowsAGridThatChanges) {
    GridLines lines;
    KnownScores scores = scoresAt(-1.5, 20, 5.2);
    lines.follow(scores);
    for (auto& point : scores.points)
        point.v = -point.v;
    lines.follow(scores);
    EXPECT_EQ(sidesText(sidesOutside(lines, scores, TwoBest(scores))), "V above");
}

} // namespace
