// Runs that are cut off and resumed, several jobs, several runs, and what outputs say of themselves.

#include "base/FileDescriptor.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"
#include "fixtures/Terminal.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRow.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <random>

namespace {

namespace fs = std::filesystem;

// Their sums in double are no floats, and the last frame has none that is finite.
ImageStack<double> randomFrames(zt::u32 frames, zt::u32 side) {
    std::mt19937 random(3);
    ImageStack<double> stack{side, side, std::vector<double>(frames * side * side, INFINITY)};
    for (double& pixel : std::span(stack.pixels).first((frames - 1) * side * side))
        pixel = 100 + random() % 1000 / 7.0;
    return stack;
}

// But for the time that the frames took.
void expectSameRows(const std::vector<ombrel::FrameRow>& rows, const std::vector<ombrel::FrameRow>& others,
                    const std::string& when) {
    const auto text = [](const ombrel::FrameRow& row) {
        QJsonObject json = ombrel::toJson(row);
        json.remove("seconds");
        return QJsonDocument(json).toJson().toStdString();
    };
    ASSERT_EQ(rows.size(), others.size()) << when;
    for (std::size_t i = 0; i < rows.size(); ++i)
        ASSERT_EQ(text(rows[i]), text(others[i])) << when << ", frame " << i;
}

// Binning of a stack into an output of the format that the parameter ends in.
class BatchInto : public ::testing::TestWithParam<const char*> {
protected:
    BatchInto() {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) // else ignored in the background
            std::signal(signal, SIG_DFL);
    }

    void writeInput(zt::u32 frames, zt::u32 side) {
        writeHdf5(input, randomFrames(frames, side));
        runWell(commandTo(whole));
        expected = readAllFrames(whole);
        expectedRows = ombrel::FrameOutput::stateOf(whole)->rows;
    }

    std::vector<std::string> commandTo(const std::string& path, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"run", "-q", "-f", "Binning 2x2", input, "-o", path});
        return more;
    }

    // Whatever is there can be opened, and holds whole frames alone; then it is resumed to the end. The pages
    // of a TIFF file come before their record.
    void expectResumable(const std::string& when) const {
        if (fs::exists(output) && (!output.ends_with(".tif") || fs::exists(output + ".ombrel.json"))) {
            const auto state = ombrel::FrameOutput::stateOf(output);
            if (state->framesDone > 0 || output.ends_with(".tif")) {
                const auto file = ombrel::FrameFile::open(output);
                const std::vector<double> done = readAllFrames(output);
                ASSERT_GE(file->info().frames, state->framesDone) << when;
                ASSERT_TRUE(std::equal(done.begin(), done.end(), expected.begin())) << when;
            }
        }
        const auto resumed = runOmbrel(commandTo(output, {"--resume"}));
        ASSERT_EQ(resumed.exitCode, 0) << when << ": " << resumed.messages;
        expectWhole(when);
    }

    void expectWhole(const std::string& when) const {
        ASSERT_EQ(readAllFrames(output), expected) << when;
        const auto state = ombrel::FrameOutput::stateOf(output);
        ASSERT_TRUE(state->complete) << when;
        expectSameRows(state->rows, expectedRows, when);
    }

    // Runs into the output with a fault at a call of that number.
    ProgramResult runWithFault(std::vector<std::string> options, const std::string& fault, int call,
                               const std::string& numbers = "9") const {
        return runOmbrel(commandTo(output, std::move(options)),
                         {"LD_PRELOAD=" OMBREL_DIE_AT_WRITE_LIBRARY,
                          "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0",
                          fault + "=" + std::to_string(call), "OMBREL_DIE_BY=" + numbers});
    }

    // A run of 60 frames that gets the signals of these numbers in the middle.
    ProgramResult runWithSignals(const std::string& numbers) const {
        return runWithFault({"-j", "1", "--force"}, "OMBREL_DIE_AT_WRITE", 100, numbers);
    }

    const TemporaryFolder folder;
    const std::string input = folder / "in.h5";
    const std::string whole = folder / (std::string("whole") + GetParam());
    const std::string output = folder / (std::string("out") + GetParam());
    std::vector<double> expected;
    std::vector<ombrel::FrameRow> expectedRows;
};

INSTANTIATE_TEST_SUITE_P(Formats, BatchInto, ::testing::Values(".h5", ".tif"),
                         [](const auto& ending) { return std::string(ending.param + 1); });

} // namespace

TEST_P(BatchInto, IsResumedAfterADeathAtEachWrite) {
    writeInput(3, 4);
    int deaths = 0;
    for (int call = 1;; ++call) {
        fs::remove(output);
        fs::remove(output + ".ombrel.json");
        const auto result = runWithFault({"-j", call % 2 ? "1" : "2"}, "OMBREL_DIE_AT_WRITE", call);
        if (result.exitCode == 0)
            break;
        ASSERT_EQ(result.exitCode, 128 + SIGKILL) << result.messages;
        ++deaths;
        expectResumable("killed at call " + std::to_string(call));
        if (HasFatalFailure())
            return;
    }
    EXPECT_GT(deaths, 15);
}

// However a run ends that replaces another output, each pixel and each row is of the same run. It is resumed,
// or the earlier output is still there and belongs to another run.
TEST_P(BatchInto, IsOfOneRunAloneWhenReplacingFails) {
    writeInput(3, 4);
    const std::string record = ".ombrel.json";
    const bool isTiff = whole.ends_with(".tif");
    runWell(commandTo(output, {"--frames", ":2"}));
    fs::rename(output, folder / "earlier");
    if (isTiff)
        fs::rename(output + record, folder / "earlier.json");
    const std::string earlier = fileText(folder / "earlier");
    bool isMade = false;
    const auto replaceWith = [&](const std::string& fault, int call) {
        const std::string when = fault + " " + std::to_string(call);
        fs::copy_file(folder / "earlier", output, fs::copy_options::overwrite_existing);
        if (isTiff)
            fs::copy_file(folder / "earlier.json", output + record, fs::copy_options::overwrite_existing);
        isMade = runWithFault({"--force"}, fault, call).exitCode == 0;
        const auto resumed = runOmbrel(commandTo(output, {"--resume"}));
        if (resumed.exitCode == 0)
            return expectWhole(when);
        ASSERT_THAT(resumed.messages, HasSubstr("was written by a different run")) << when;
        ASSERT_FALSE(isMade) << when;
        ASSERT_EQ(fileText(output), earlier) << when;
    };
    int calls = 0; // until the number is beyond the last one
    while (!isMade && !HasFatalFailure())
        replaceWith("OMBREL_DIE_AT_WRITE", ++calls);
    EXPECT_GT(calls, 15);
    for (const std::string fault : {"OMBREL_FULL_FROM_WRITE", "OMBREL_FAIL_AT_WRITE"})
        for (int call = 1; call < calls && !HasFatalFailure(); ++call)
            replaceWith(fault, call);
}

// Each number is a place of its own: before main(), in the parser, while the run is set up.
TEST(Batch, ReportsWantOfMemoryInOneLine) {
    if (OMBREL_SANITIZED)
        GTEST_SKIP() << "the sanitizers bring a malloc of their own";
    const TemporaryFolder folder;
    writeTiff<double>(folder / "in.tif", randomFrames(2, 4));
    int failures = 0;
    for (const int request : {1, 20, 60, 120, 400, 800, 1600, 2400}) {
        const auto result = runOmbrel(
            {"run", "-q", "-f", "Binning 2x2", folder / "in.tif", "-o", folder / "out.tif", "--force"},
            {"LD_PRELOAD=" OMBREL_FAIL_AT_MALLOC_LIBRARY,
             "OMBREL_FAIL_AT_MALLOC=" + std::to_string(request)});
        ASSERT_TRUE(result.exitCode == 0 || result.exitCode == 1) << request << ": " << result.messages;
        EXPECT_EQ(std::ranges::count(result.messages, '\n'), result.exitCode) << result.messages;
        failures += result.exitCode;
    }
    EXPECT_GT(failures, 4);
}

// Which of two NaNs a sum keeps depends on the processor.
TEST(Batch, StoresEveryNanAsTheSameOne) {
    const TemporaryFolder folder;
    const auto nanOf = [](std::uint64_t payload) {
        return std::bit_cast<double>(0xfff8000000000000 | payload);
    };
    writeHdf5<double>(folder / "in.h5", {2, 2, {nanOf(1), nanOf(2), nanOf(3), nanOf(4), 1, 2, nanOf(5), 4}});
    runWell({"run", "-q", "-f", "Binning 2x2", "--output-type", "f64", folder / "in.h5", "-o",
             folder / "out.h5"});
    const auto quiet = std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN());
    std::size_t nans = 0;
    for (const double pixel : readAllFrames(folder / "out.h5")) {
        EXPECT_TRUE(!std::isnan(pixel) || std::bit_cast<std::uint64_t>(pixel) == quiet);
        nans += std::isnan(pixel);
    }
    EXPECT_GE(nans, 2U);
}

TEST_P(BatchInto, IsMadeByOneOfSeveralRuns) {
    writeInput(3, 4);
    {
        const ombrel::OutputLock lock(output, false);
        for (const char* option : {"--quiet", "--force", "--resume"})
            expectRefusal(runOmbrel(commandTo(output, {option})), 1, "another run is writing it");
        EXPECT_FALSE(fs::exists(output));
    }
    runWell(commandTo(output));
    EXPECT_EQ(folder.fileCount(), output.ends_with(".tif") ? 5U : 3U);
}

TEST_P(BatchInto, EndsWhenAThreadCannotBeMade) {
    writeInput(8, 4);
    for (int thread = 1; thread <= 4; ++thread)
        expectRefusal(runWithFault({"-j", "3"}, "OMBREL_FAIL_AT_THREAD", thread), 1,
                      "only " + std::to_string(thread - 1) + " of 4 threads can be made");
    EXPECT_FALSE(fs::exists(output));
}

TEST_P(BatchInto, IsLeftReadableAndResumableByEverySignalThatAsksForTheEnd) {
    writeInput(60, 8);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const auto result = runWithSignals(std::to_string(signal));
        expectRefusal(result, 1, "interrupted");
        const auto done = ombrel::FrameOutput::stateOf(output)->framesDone;
        EXPECT_TRUE(0 < done && done < 60) << done;
        expectResumable("signal " + std::to_string(signal));
    }
}

// What is not asked for again: a terminal that closes may say so twice.
TEST_P(BatchInto, EndsAtOnceByASecondSignal) {
    writeInput(60, 8);
    for (const auto& [numbers, exitCode] :
         {std::pair("2 2", 128 + SIGINT), {"15 15", 128 + SIGTERM}, {"1 1", 1}}) {
        const auto result = runWithSignals(numbers);
        EXPECT_EQ(result.exitCode, exitCode) << numbers << ": " << result.messages;
        expectResumable(numbers);
    }
}

TEST_P(BatchInto, IsNotEndedBySignalsThatWereIgnoredAtItsStart) {
    writeInput(60, 8);
    for (const int signal : {SIGINT, SIGHUP}) {
        const auto former = std::signal(signal, SIG_IGN); // the program inherits it
        const auto result = runWithSignals(std::to_string(signal));
        std::signal(signal, former);
        EXPECT_EQ(result.exitCode, 0) << result.messages;
        EXPECT_EQ(readAllFrames(output), expected);
    }
}

TEST_P(BatchInto, GetsAPictureOfEveryFrameAlsoWhenItIsResumed) {
    writeInput(60, 8);
    runWell(commandTo(whole, {"--force", "--preview", folder / "expected"}));
    expectRefusal(runWithSignals("15"), 1, "interrupted");
    runWell(commandTo(output, {"--resume", "--preview", folder / "pictures"}));
    int pictures = 0;
    for (const fs::directory_entry& picture : fs::directory_iterator(folder / "expected")) {
        const std::string name = picture.path().filename();
        EXPECT_EQ(fileText(folder / "pictures/" + name), fileText(picture.path())) << name;
        ++pictures;
    }
    EXPECT_EQ(pictures, 60);
}

TEST_P(BatchInto, IsTheSameForAnyNumberOfJobs) {
    writeInput(60, 32);
    for (const char* jobs : {"2", "8"}) {
        runWell(commandTo(output, {"--force", "--jobs", jobs}));
        EXPECT_EQ(readAllFrames(output), expected);
        expectSameRows(ombrel::FrameOutput::stateOf(output)->rows, expectedRows, jobs);
    }
}

TEST_P(BatchInto, IsLeftAloneWhenItIsWholeOrOfAnotherRun) {
    writeInput(4, 8);
    const std::string before = fileText(whole);
    auto result = runWell(commandTo(whole, {"--resume"}));
    EXPECT_THAT(result.messages, HasSubstr("is already complete; nothing to do"));

    result = runOmbrel(commandTo(whole, {"--resume", "--frames", "1:3", "--output-type", "f64"}));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.messages,
                AllOf(HasSubstr("was written by a different run"), HasSubstr("frames: 1:3 now, 0:4 before"),
                      HasSubstr("output type: f64 now, f32 before")));
    writeHdf5(input, randomFrames(5, 8));
    expectRefusal(runOmbrel(commandTo(whole, {"--resume", "--frames", ":4"})), 1,
                  "input " + input + ": it has ");
    EXPECT_EQ(fileText(whole), before);

    EXPECT_EQ(runOmbrel(commandTo(output, {"--resume", "--force"})).exitCode, 2);
}

TEST(Batch, ReportsFiguresOfAllFramesAlsoWhenItIsResumed) {
    const TemporaryFolder folder;
    ImageStack<float> stack{2, 2, {1, 2, 3, 4, 0, NAN, INFINITY, 8}};
    writeHdf5(folder / "in.h5", stack);
    std::vector<std::string> run{"run", "-q", "-f", "Binning 2x2", folder / "in.h5"};
    run.insert(run.end(), {"-o", folder / "out.h5", "--report", folder / "report.json"});
    const auto check = [&] {
        const auto json =
            QJsonDocument::fromJson(QByteArray::fromStdString(fileText(folder / "report.json"))).object();
        EXPECT_EQ(json["corrected"].toInt(), 2);
        EXPECT_EQ(json["masked_pixels"].toInt(-1), 0);
        EXPECT_EQ(json["record"]["chain"][0]["filter"].toString(), "Binning 2x2");
        const QJsonArray frames = json["frames"].toArray();
        ASSERT_EQ(frames.size(), 2);
        EXPECT_EQ(frames[0]["input"]["mean"].toDouble(), 2.5);
        EXPECT_DOUBLE_EQ(frames[0]["input"]["spread"].toDouble(), std::sqrt(1.25) / 2.5);
        EXPECT_EQ(frames[0]["output"]["mean"].toDouble(), 10);
        EXPECT_EQ(frames[0]["output"]["spread"].toDouble(-1), 0);
        EXPECT_EQ(frames[1]["frame"].toInt(), 1);
        EXPECT_EQ(frames[1]["input"]["zero_pixels"].toInt(), 1);
        EXPECT_EQ(frames[1]["input"]["not_finite"].toInt(), 2);
        EXPECT_EQ(frames[1]["input"]["mean"].toDouble(), 4);
        EXPECT_EQ(frames[1]["output"]["not_finite"].toInt(), 4);
    };
    runWell(run);
    check();
    fs::remove(folder / "report.json");
    run.push_back("--resume");
    runWell(run);
    check();
}

TEST(Batch, DryRunChangesNothing) {
    const TemporaryFolder folder;
    writeHdf5(folder / "in.h5", randomFrames(3, 8));
    const auto dry = [&](const std::string& output) {
        return runOmbrel({"run", "--dry-run", "-f", "Binning 2x2", folder / "in.h5", "-o", output});
    };
    auto result = dry(folder / "out.h5");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.messages, HasSubstr("would correct 3 frames of 8 x 8"));
    EXPECT_EQ(folder.fileCount(), 1u);
    expectRefusal(dry(folder / "none/out.h5"), 1, "does not exist; create it");
}

TEST(Batch, ShowsABarThatMakesRoomForMessages) {
    const TemporaryFolder folder;
    writeHdf5(folder / "in.h5", randomFrames(3, 8));
    const auto result =
        runOmbrelOnTerminal(40, {"run", "-f", "Binning 2x2", folder / "in.h5", "-o", folder / "out.h5"});
    EXPECT_EQ(result.exitCode, 0) << result.messages;
    const auto bars = statusLines(result.messages);
    ASSERT_FALSE(bars.empty()) << result.messages;
    EXPECT_THAT(bars.front(), StartsWith("[####........] 1 of 3 frames, "));
    EXPECT_THAT(result.messages, HasSubstr("\x1b[Kombrel: 1 frame is not finite: 2\r\n"));
}
