#include "base/Progress.h"

#include "fixtures/Messages.h"
#include "fixtures/Terminal.h"
#include "fixtures/Testing.h"

using namespace ombrel;
using testing::Gt;
using testing::Lt;

TEST(ProgressBar, LeavesOutWhatDoesNotFit) {
    const auto bar = [](unsigned columns) { return progressBar(150, 400, 12.3, columns); };
    EXPECT_EQ(bar(200), "[###########...................] 150 of 400 frames, 12 frames/s, 0:20 left");
    EXPECT_EQ(bar(60), "[#####..........] 150 of 400 frames, 12 frames/s, 0:20 left");
    EXPECT_EQ(bar(50), "[######............] 150 of 400 frames, 0:20 left");
    EXPECT_EQ(bar(40), "[#####..........] 150 of 400, 0:20 left");
    EXPECT_EQ(bar(30), "[######..........] 150 of 400");
    EXPECT_EQ(bar(20), "[####........] 37 %");
    EXPECT_EQ(bar(10), "37 %");
    for (unsigned columns = 1; columns < 200; ++columns)
        for (const zt::u64 done : {0ULL, 1ULL, 399'999'999'999ULL, 400'000'000'000ULL})
            for (const double rate : {0.0, 1e-9, 3e6})
                EXPECT_LT(progressBar(done, 400'000'000'000ULL, rate, columns).size(), columns);
}

TEST(Progress, FollowsTheWidthOfItsTerminalAndClearsItsBar) {
    Terminal terminal(60);
    std::FILE* const stream = fdopen(dup(terminal.device()), "w");
    const auto console = consoleOn(stream);
    {
        Progress progress(*console, 1'000'000, false);
        for (const unsigned columns : {60, 25, 4, 60}) {
            terminal.setColumns(columns);
            progress.advance();
        }
    }
    std::fclose(stream);
    const std::string written = terminal.readToEnd();
    EXPECT_THAT(written, EndsWith("\x1b[K"));
    const auto bars = statusLines(written);
    ASSERT_EQ(bars.size(), 4U) << "a new width is followed at once";
    EXPECT_THAT(bars[0].size(), AllOf(Gt(25), Lt(60)));
    EXPECT_THAT(bars[1].size(), AllOf(Gt(4), Lt(25)));
    EXPECT_EQ(bars[2], "0 %");
    EXPECT_THAT(bars[3].size(), AllOf(Gt(25), Lt(60)));
}
