#include "cluster/JobScript.h"

#include "cluster/Scheduler.h"
#include "fixtures/Testing.h"

using namespace ombrel::cluster;

TEST(JobScript, QuotesWordsSoThatTheShellReadsThemUnchanged) {
    const TemporaryFolder folder;
    const std::vector<std::string> words{"plain",   "a b",  "it's",       "",       "$HOME `id` \"x\"",
                                         "back\\s", "*.h5", "line\nline", "a;b&c",  "-f=Binning 2x2",
                                         "~",       "#x",   "{1,2}",      "ümlaut", "!!"};
    const std::string result = folder / "words";
    ASSERT_EQ(
        std::system(("bash -c " + shellWord("printf '%s\\0' " + shellLine(words) + " >" + shellWord(result)))
                        .c_str()),
        0);
    std::string expected;
    for (const std::string& word : words)
        expected += word + '\0';
    EXPECT_EQ(fileText(result), expected);
}

TEST(JobScript, NamesPartsByRanges) {
    EXPECT_EQ(arrayText({0}), "0");
    EXPECT_EQ(arrayText({0, 1, 2, 5, 7, 8}), "0-2,5,7-8");
}

TEST(Scheduler, ReadsElapsedTimes) {
    EXPECT_EQ(secondsOf("0:07"), 7);
    EXPECT_EQ(secondsOf("2:03:04"), 7384);
    EXPECT_EQ(secondsOf("1-00:00:10"), 86410);
    EXPECT_EQ(secondsOf("INVALID"), 0);
}

// A folder of parts that is moved with its output is found where the user says that the output is.
TEST(ClusterPlan, IsReadBackFromBesideTheOutput) {
    const TemporaryFolder folder;
    ClusterPlan plan;
    plan.output = folder / "whole.h5";
    plan.folder = "/data";
    plan.runArguments = {"in.h5", "--filter=Binning 2x2"};
    plan.frames = {10, 35};
    plan.partFrames = 10;
    plan.cores = 3;
    plan.jobOptions = {"--time=5"};
    plan.jobs = {{"17", false, {0, 2}, {{2, 4}}}, {"18", true, {}, {}}};
    std::filesystem::create_directory(plan.partFolder());
    plan.save();
    std::filesystem::rename(plan.partFolder(), folder / "moved.h5.parts");

    const ClusterPlan read = ClusterPlan::load(folder / "moved.h5");
    EXPECT_EQ(read.partCount(), 3u);
    EXPECT_EQ(read.framesOf(2).begin, 30u);
    EXPECT_EQ(read.framesOf(2).end, 35u);
    EXPECT_EQ(read.plainPartPath(1), folder / "moved.h5.parts/part-000001.h5");
    EXPECT_EQ(read.runArguments, plan.runArguments);
    EXPECT_EQ(read.jobOptions, plan.jobOptions);
    EXPECT_EQ(read.cores, 3u);
    ASSERT_EQ(read.jobs.size(), 2u);
    EXPECT_EQ(read.jobs[0].parts, plan.jobs[0].parts);
    EXPECT_EQ(read.jobs[0].framesBefore, plan.jobs[0].framesBefore);
    EXPECT_TRUE(read.jobs[1].merges);
}
