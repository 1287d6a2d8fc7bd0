// What is read from the adaptive filter's log, what is made of a frame, and what counts as best.

#include "base/Error.h"
#include "base/TrialFolder.h"
#include "calibration/AdaptiveReport.h"
#include "calibration/AdaptiveSettings.h"
#include "calibration/AdaptiveTuning.h"
#include "fixtures/Testing.h"
#include "simulation/Scene.h"
#include "zt/Types.h"

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace ombrel;

TEST(QualityLog, TellsWhetherTheSearchWasRightAndHowClearly) {
    const std::string block = "[ 1, 2, 3, 10 ]\n[ 1, 2, 1e+06, 8 ]\n[ 1, 2.5, 3, nan ]\n\n";
    const auto right = searchOutcome(block, {1, 2, 1e6f});
    ASSERT_TRUE(right);
    EXPECT_TRUE(right->isRight);
    EXPECT_DOUBLE_EQ(right->margin, 0.25);
    EXPECT_FALSE(searchOutcome(block, {1, 2, 3})->isRight);
    EXPECT_DOUBLE_EQ(searchOutcome(block, {1, 2, 3})->margin, -0.2);
    EXPECT_FALSE(searchOutcome(block, {7, 2, 3}));
    EXPECT_FALSE(searchOutcome(block, {1, 2.5, 3}));

    // A second pass adds its lines after those of the first.
    EXPECT_FALSE(searchOutcome(block + "[ 9, 9, 9, 7.5 ]\n\n", {1, 2, 1e6f})->isRight);
    // The grid point has more digits than the log.
    EXPECT_TRUE(searchOutcome("[ 0.123457, 0, 0, 1 ]\n", {0.12345678f, 0, 0})->isRight);
}

TEST(QualityLog, GivesEqualValuesToTheFirst) {
    const std::string block = "[ 1, 1, 1, 5 ]\n[ 2, 1, 1, 5 ]\n";
    EXPECT_TRUE(searchOutcome(block, {1, 1, 1})->isRight);
    EXPECT_FALSE(searchOutcome(block, {2, 1, 1})->isRight);
    EXPECT_EQ(searchOutcome("[ 1, 1, 1, 0 ]\n[ 2, 1, 1, 0 ]\n", {1, 1, 1})->margin, 0);
}

// A frame of photon statistics and nothing else, and what dividing it by its flat field leaves.
double residualOfPerfectCorrection(FlatOrigin origin, zt::u32 flatFrames) {
    constexpr zt::u32 side = 64;
    simulation::Random random(7);
    GridFlat flat;
    flat.frames = flatFrames;
    flat.ofAll.assign(side * side, 0);
    flat.ofOthers.assign(side * side, 0);
    flat.test = Frame::create(side, side, zt::DT_DOUBLE);
    const FramePtr corrected = Frame::create(side, side, zt::DT_DOUBLE);
    for (std::size_t i = 1; i < flat.ofAll.size(); ++i) { // pixel 0 is dead
        const double mean = i % 2 == 0 ? 1000 : 2000;
        const double count = random.poisson(mean);
        flat.test->pixels<double>()[i] = count;
        const double others = flatFrames > 1 ? random.poisson(mean * (flatFrames - 1)) : 0;
        flat.ofAll[i] = (others + count) / flatFrames;
        flat.ofOthers[i] = flatFrames > 1 ? others / (flatFrames - 1) : count;
        const double field = origin == FlatOrigin::WithTest ? flat.ofAll[i] : flat.ofOthers[i];
        corrected->pixels<double>()[i] = count / field;
    }
    return AdaptiveTestFrame({}, std::move(flat), {}, origin).residual(*corrected);
}

TEST(AdaptiveTestFrame, CountsTheStatisticsOfFrameAndFlatField) {
    EXPECT_NEAR(residualOfPerfectCorrection(FlatOrigin::WithoutTest, 2), 1, 0.04);
    EXPECT_NEAR(residualOfPerfectCorrection(FlatOrigin::WithTest, 2), 1, 0.04);
    EXPECT_NEAR(residualOfPerfectCorrection(FlatOrigin::WithoutTest, 10), 1, 0.04);
    EXPECT_EQ(residualOfPerfectCorrection(FlatOrigin::WithoutTest, 1), 0); // its own flat field
}

TrialResult result(std::size_t failed, double residual, std::size_t right, double mosaic, double margin) {
    TrialResult made;
    made.frames = 10;
    made.failed = failed;
    made.residual = residual;
    made.right = right;
    made.mosaicResidual = mosaic;
    made.margin = margin;
    return made;
}

TEST(AdaptiveRanking, AsksItsQuestionsInOrder) {
    const auto best = [](std::vector<TrialResult> results) { return bestOf(results); };
    EXPECT_EQ(best({result(1, 1.0, 9, 1, 9), result(0, 5.0, 0, 5, 0)}), 1u);
    EXPECT_EQ(best({result(0, 9.0, 10, 1, 9), result(0, 1.0, 8, 5, 0)}), 1u); // right, but spoilt frames
    EXPECT_EQ(best({result(0, 1.01, 8, 1, 9), result(0, 1.0, 10, 5, 0)}), 1u);
    EXPECT_EQ(best({result(0, 1.0, 10, 1.5, 9), result(0, 1.01, 10, 1.0, 0)}), 1u);
    EXPECT_EQ(best({result(0, 1.0, 10, 1.0, 0.1), result(0, 1.01, 10, 1.01, 2)}), 1u);
    EXPECT_EQ(best({result(0, 1.01, 10, 1.0, 1), result(0, 1.0, 10, 1.0, 2)}), 0u);
    EXPECT_EQ(best({result(0, INFINITY, 0, 1, 1), result(0, 2.0, 0, 1, 0)}), 1u);
}

TEST(AdaptiveChoices, TriesWhatIsNotFixedAndFitsTheFrames) {
    SettingsTree settings;
    settings.set(adaptiveGroup, "Kernel", std::string("1"));
    settings.set(adaptiveGroup, "PPEnabled", true);
    settings.set(adaptiveGroup, "QfBorderMaskSize", 3);
    settings.set(adaptiveGroup, "QfTileSize", 5);
    settings.set(adaptiveGroup, "QfTileThreshold", 70);
    const AdaptiveChoices some(settings, {"Kernel", "QfTileThreshold"}, 64);
    EXPECT_EQ(some.first(settings).size(), 4u);
    EXPECT_EQ(some.second(settings).size(), 2u); // tiles of 16 and 32
    EXPECT_EQ(some.count(), 9u);
    for (const SettingsTree& tried : some.first(settings)) {
        EXPECT_EQ(adaptiveSetting<std::string>(tried, "Kernel"), "1");
        EXPECT_EQ(adaptiveSetting<int>(tried, "QfTileThreshold"), 70);
        EXPECT_EQ(adaptiveSetting<int>(tried, "QfTileSize"), 8); // eight tiles a side
    }
    EXPECT_EQ(AdaptiveChoices(settings, {}, 3).tileSizes.size(), 1u);
}

TEST(TrialFolder, RemovesThoseOfProgramsThatWereKilledAndNoOthers) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / ".ombrel-trial-abcdef"); // of someone else: without a lock
    const TrialFolder alive(folder.path);
    if (const pid_t child = fork(); child == 0) {
        const TrialFolder killed(folder.path);
        std::ofstream(killed / "heap") << "large";
        _exit(folder.fileCount() == 3 ? 0 : 1);
    } else {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(folder.fileCount(), 3u);
    const TrialFolder next(folder.path);
    EXPECT_EQ(folder.fileCount(), 3u);
    EXPECT_TRUE(std::filesystem::exists(alive / "owner"));
    EXPECT_TRUE(std::filesystem::exists(folder / ".ombrel-trial-abcdef"));
}

} // namespace
