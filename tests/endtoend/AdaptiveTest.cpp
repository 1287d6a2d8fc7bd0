// From a grid of flat fields to corrected frames.

#include "fixtures/FrameFiles.h"
#include "fixtures/HeapBytes.h"
#include "fixtures/Program.h"
#include "frame/FrameOutput.h"
#include "settings/CalibrationFacts.h"
#include "settings/Settings.h"
#include "settings/SettingsFile.h"
#include "stack/FileReport.h"

#include <csignal>
#include <numeric>
#include <regex>

namespace {

// The arguments of a calibration that has nothing to choose, and so tries nothing.
std::vector<std::string> withEverySetting(std::vector<std::string> arguments) {
    for (const char* setting : {"PPEnabled=false", "Kernel=0,1,0", "QfTileSize=0", "QfTileThreshold=80",
                                "QfBorderMaskSize=0", "Interpolation=0"})
        arguments.insert(arguments.end(), {"--set", setting});
    return arguments;
}

class Adaptive : public ::testing::Test {
protected:
    ProgramResult calibrate(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"calibrate", "adaptive", "-q", "--grid", table});
        return runOmbrel(arguments);
    }
    // Two flat fields of two pixels in a row. Frames of `level` distinguish calibrations.
    ProgramResult calibrateSmall(zt::u16 level, const std::vector<std::string>& environment = {}) const {
        writeTiff(folder / "a.tif", ImageStack<zt::u16>{2, 2, {1, 2, 3, level, 3, 2, 1, 2}});
        writeFileText(table, "v,t,e,file,page\n1,1,9,a.tif,0\n2,1,9,a.tif,1\n");
        std::vector<std::string> arguments{"calibrate", "adaptive", "-q", "--grid", table, "-o", settings};
        arguments.push_back("--force");
        return runOmbrel(withEverySetting(arguments), environment);
    }
    ProgramResult correct() const {
        return runOmbrel({"run", "-q", "-j", "2", "-f", "AdaptiveFF=" + settings, folder / "a.tif", "-o",
                          folder / "out.h5", "--force"});
    }

    const TemporaryFolder folder;
    const std::string table = folder / "grid.csv";
    const std::string settings = folder / "a.xml";
    const std::string heap = folder / "a.bin";
};

// A simulated set, calibrated once for all tests.
class AdaptiveSet : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = std::make_unique<TemporaryFolder>();
        const auto simulated =
            runOmbrel({"simulate", folder->path.string(), "--size", "128x128", "--frames", "1", "-q"});
        ASSERT_EQ(simulated.exitCode, 0) << simulated.messages;
        runWell({"calibrate", "adaptive", "--grid", *folder / "grid.csv", "-o", *folder / "a.xml",
                 "--normalise", "-q"});
    }
    static void TearDownTestSuite() { folder.reset(); }

    static ombrel::ResidualReport correct(const std::string& frames, const std::string& search = "0") {
        const std::string output = *folder / "out.h5";
        const auto run =
            runOmbrel({"run", "-q", "-f", "AdaptiveFF=" + *folder / "a.xml", "-p",
                       "AdaptiveFF:Search=" + search, *folder / frames, "-o", output, "--force"});
        EXPECT_EQ(run.exitCode, search == "1" ? run.exitCode : 0) << run.messages;
        return ombrel::reportOnResidual(output, *folder / frames, *folder / "open-area.h5");
    }

    // What each of the flat fields leaves in the drifting frames, when it is the one for all.
    static std::vector<ombrel::ResidualReport> byEachFlat() {
        std::vector<ombrel::ResidualReport> reports;
        std::ifstream lines(*folder / "grid.csv");
        std::string line;
        std::getline(lines, line);
        while (std::getline(lines, line)) {
            const std::string flats = *folder / line.substr(line.rfind(',') + 1);
            const std::string output = *folder / "fixed.h5";
            runWell({"calibrate", "flat-field", flats, "--bad", "none", "-o", *folder / "f.xml", "--force"});
            runWell({"run", "-q", "-f", "Flat-Field=" + *folder / "f.xml", *folder / "drifting.h5", "-o",
                     output, "--force"});
            reports.push_back(
                ombrel::reportOnResidual(output, *folder / "drifting.h5", *folder / "open-area.h5"));
        }
        return reports;
    }

    static std::unique_ptr<TemporaryFolder> folder;
};

std::unique_ptr<TemporaryFolder> AdaptiveSet::folder;

} // namespace

TEST_F(AdaptiveSet, StoresWhatEachFlatFieldWasDividedBy) {
    const auto divisorsAfter = [](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{
            "calibrate", "adaptive", "-q", "--grid", *folder / "grid.csv", "-o", *folder / "facts.xml"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        runWell(withEverySetting(arguments));
        return ombrel::factsOf(ombrel::readSettings(*folder / "facts.xml")).points;
    };
    for (const auto& point : divisorsAfter({})) {
        EXPECT_EQ(point.divisor, 1);
        EXPECT_EQ(point.flatFields, 3);
    }
    const auto measured = divisorsAfter({"--normalise", "--force"});
    ASSERT_EQ(measured.size(), 27u);
    std::ifstream lines(*folder / "grid.csv");
    std::string line;
    std::getline(lines, line); // names the columns
    std::getline(lines, line);
    const auto flats = readAllFrames(*folder / line.substr(line.rfind(',') + 1));
    EXPECT_NEAR(measured[0].divisor, std::accumulate(flats.begin(), flats.end(), 0.0) / flats.size(), 1e-6);
}

TEST_F(AdaptiveSet, LeavesPhotonStatisticsOnTheGridAndBetweenItsPoints) {
    EXPECT_LT(correct("on-grid.h5").worst, 1.05);
    EXPECT_LT(correct("midpoints.h5").worst, 1.10);
    // The look-around search refuses frames whose best flat field is the first on its axis of E.
    const auto lookAround = correct("on-grid.h5", "1");
    EXPECT_LT(lookAround.worst, 1.05);
    EXPECT_EQ(
        std::ranges::count(lookAround.frames, false, [](const auto& frame) { return frame.has_value(); }), 9);
}

TEST_F(AdaptiveSet, FollowsADriftThatNoSingleFlatFieldFits) {
    const auto adaptive = correct("drifting.h5");
    const auto fixed = byEachFlat();
    ASSERT_EQ(fixed.size(), 27u);
    const auto& best = *std::ranges::min_element(fixed, {}, &ombrel::ResidualReport::mean);
    EXPECT_LT(adaptive.mean, 0.5 * best.mean);
    for (std::size_t i = 0; i < adaptive.frames.size(); ++i)
        EXPECT_LT(adaptive.frames[i].value(), 1.02 * best.frames[i].value()) << "frame " << i;
}

TEST_F(AdaptiveSet, RefinesTheGridForBothSearches) {
    const auto calibrate = [&](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{"calibrate", "adaptive", "-q", "--grid", *folder / "grid.csv"};
        arguments.insert(arguments.end(), {"-o", *folder / "fine.xml", "--normalise", "--force"});
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runOmbrel(arguments);
    };
    const auto correctFew = [&](const std::string& search) {
        runWell({"run", "-q", "-f", "AdaptiveFF=" + *folder / "fine.xml", "-p", "AdaptiveFF:Search=" + search,
                 *folder / "midpoints.h5", "-o", *folder / "out.h5", "--force"});
        return ombrel::reportOnResidual(*folder / "out.h5", *folder / "midpoints.h5",
                                        *folder / "open-area.h5");
    };
    ASSERT_EQ(calibrate({"--refine", "5x6x5"}).exitCode, 0);
    EXPECT_LT(correctFew("0").mean, 1.25);
    const auto lookAround = calibrate({"--refine", "auto", "--set", "Search=1"});
    ASSERT_EQ(lookAround.exitCode, 0) << lookAround.messages;
    EXPECT_THAT(lookAround.output, HasSubstr("look-around    9 x  9 x  9"));
    EXPECT_EQ(std::filesystem::file_size(*folder / "fine.bin"),
              8u + 3 * (8 + 5 * 4) + 125 * (8 + 128 * 128 * 4));
    EXPECT_NEAR(correctFew("1").mean, correctFew("0").mean, 0.03); // and none is refused

    expectRefusal(calibrate({"--refine", "5x6"}), 2, "write auto, N or NxMxK");
    expectRefusal(calibrate({"--time-per-frame", "5"}), 2, "--refine");
    expectRefusal(calibrate({"--refine", "auto", "--frame-counts", "1"}), 1, "not worth its time");
}

TEST_F(AdaptiveSet, WritesEverySettingAndChoosesWhatWorks) {
    ombrel::Settings store(*folder / "a.xml", [](const std::string&) {});
    store.loadFile();
    EXPECT_EQ(store.contents().find("Settings")->items.size(), 15u);
    EXPECT_FALSE(store.getBool("Settings", "PPEnabled", true));
    EXPECT_EQ(store.getInt("Settings", "Interpolation", 0), 1);
    EXPECT_THAT(store.getString("Settings", "Kernel", ""), Not(HasSubstr("5")));

    const auto checked = runWell(
        {"calibrate", "adaptive", "-q", "--grid", *folder / "grid.csv", "--check", *folder / "a.xml"});
    EXPECT_THAT(checked.output, HasSubstr("<- " + *folder / "a.xml"));
    EXPECT_THAT(checked.messages, Not(HasSubstr("other settings")));

    // The same flat fields with the kernel that the filter starts with.
    std::string worse = fileText(*folder / "a.xml");
    worse.replace(worse.find("0,-1,0,-1,4"), 11, "0,-1,0,-1,5");
    writeFileText(*folder / "b.xml", worse);
    std::filesystem::copy_file(*folder / "a.bin", *folder / "b.bin");
    const auto warned = runWell(
        {"calibrate", "adaptive", "-q", "--grid", *folder / "grid.csv", "--check", *folder / "b.xml"});
    EXPECT_THAT(warned.messages, HasSubstr("other settings leave a smaller residual"));
    EXPECT_EQ(fileText(*folder / "b.xml"), worse);
}

TEST_F(AdaptiveSet, WritesLogsInARunButNotInAReplay) {
    const std::string settings = *folder / "logged.xml";
    const std::string log = *folder / "log.txt";
    const std::string values = *folder / "values.txt";
    const std::string output = *folder / "logged.h5";
    const std::string frames = *folder / "frames.h5";
    ombrel::Settings store(settings, [](const std::string&) {});
    store.loadFile(*folder / "a.xml");
    store.setString("Settings", "LogFile", log.c_str());
    store.setString("Settings", "LogQualityValuesFile", values.c_str());
    store.saveFile();
    std::filesystem::copy_file(*folder / "a.bin", *folder / "logged.bin");
    // Grid choices need no folder for temporary files.
    const auto run = runWell({"run", "-q", "-f", "AdaptiveFF=" + settings, "-p", "AdaptiveFF:Search=0", "-p",
                              "AdaptiveFF:LogFile=" + log, frames, "-o", output},
                             {"TMPDIR=" + *folder / "none"});
    EXPECT_THAT(fileText(values), HasSubstr("[ "));
    EXPECT_TRUE(ombrel::FrameOutput::stateOf(output)->rows[0].choice);
    ASSERT_TRUE(std::filesystem::remove(log));
    ASSERT_TRUE(std::filesystem::remove(values));
    const std::size_t files = folder->fileCount();
    runWell({"replay", "-q", output, "-o", *folder / "again.h5"});
    EXPECT_EQ(folder->fileCount(), files + 1);
    expectRefusal(runOmbrel({"replay", output, "-o", *folder / "none.h5"}, {"TMPDIR=" + *folder / "none"}), 1,
                  "set TMPDIR to another one");
}

TEST_F(Adaptive, WritesTheHeapAsTheFilterReadsIt) {
    writeTiff(folder / "a.tif", ImageStack<zt::u16>{2, 2, {1, 2, 3, 6, 3, 2, 1, 2}});
    writeTiff(folder / "mask.tif", ImageStack<zt::u16>{2, 2, {1, 1, 0, 1}});
    writeFileText(table, "v,t,e,file,page\n2,1,9,a.tif,1\n1,1,9,a.tif,\n1,0.5,9,a.tif,0\n");
    std::vector<std::string> options{"-o", settings, "--hole", "2,0.5,9", "--element", "7", "--keep-all"};
    options.insert(options.end(), {"--compensation-mask", folder / "mask.tif"});
    for (const char* setting : {"PPEnabled=false", "Kernel=0,1,0", "QfTileSize=0"})
        options.insert(options.end(), {"--set", setting});
    const auto result = calibrate(options);
    ASSERT_EQ(result.exitCode, 0) << result.messages;
    EXPECT_THAT(result.messages, HasSubstr("2 grid points have a single frame"));
    HeapBytes expected;
    expected.value(7).value(1).block(2, 2, {1, 1, 0, 1});
    expected.vector({1, 2}).vector({0.5, 1}).vector({9});
    expected.block(2, 2, {1, 2, 3, 6}).block(2, 2, {2, 2, 2, 4}).hole().block(2, 2, {3, 2, 1, 2});
    EXPECT_EQ(fileText(heap), expected.bytes);
    EXPECT_EQ(folder.fileCount(), 5u); // no trial is left behind
}

TEST_F(Adaptive, RefusesWhatIsNoGridAndWritesNothing) {
    std::vector<zt::u16> flats(16, 100);
    flats.resize(32, 101);
    writeTiff(folder / "a.tif", ImageStack<zt::u16>{4, 4, flats});
    const auto refuse = [&](const std::string& rows, std::vector<std::string> options, int exitCode,
                            const std::string& words) {
        writeFileText(table, "v,t,e,file\n" + rows);
        expectRefusal(calibrate(std::move(options)), exitCode, words);
        EXPECT_EQ(folder.fileCount(), 2u) << words;
    };
    const std::string whole = "1,1,1,a.tif\n2,1,1,a.tif\n";
    refuse("1,1,1,a.tif\n2,2,1,a.tif\n", {"-o", settings}, 1, "2 of 4 grid points are missing");
    refuse(whole, {"-o", folder / "a.txt"}, 2, "must end in \".xml\"");
    refuse(whole, {"-o", settings, "--check", settings}, 2, "either");
    refuse(whole, {}, 2, "either");
    refuse(whole, {"-o", settings, "--set", "Kernal=1"}, 2, "QfTileThreshold, Kernel");
    refuse(whole, {"-o", settings, "--set", "QfTileSize=big"}, 2, "type int");
    refuse(whole, {"-o", settings, "--hole", "1,1"}, 2, "V,T,E");
    refuse(whole, {"-o", settings, "--compensation-mask", folder / "none.tif"}, 1, "none.tif");
    refuse(whole, {"--check", settings}, 1, "a.xml");
    const auto refuseTable = [&](const std::string& path, const std::string& words) {
        expectRefusal(runOmbrel({"calibrate", "adaptive", "--grid", path, "-o", settings}), 1,
                      path + ": " + words);
    };
    refuseTable(folder.path.string(), "is a directory");
    refuseTable("/dev/zero", "is not a regular file");
    writeFileText(table, "v,t,e,file\n#" + std::string(65536, 'x'));
    refuseTable(table, "line 2 has 65537 bytes; a line of a table may have 65536");
    std::filesystem::resize_file(table, (16u << 20) + 1);
    refuseTable(table, "has 16777217 bytes; a table may have 16777216");
    // Frames of one value have no structure that settings could be chosen by.
    refuse(whole, {"-o", settings, "--set", "PPEnabled=true"}, 1, "no test frame could be corrected");
}

// The former calibration must not be one whose settings note no heap: those fit every heap.
TEST_F(Adaptive, KilledAtAnyRenameLeavesAPairThatFitsOrIsRefused) {
    ASSERT_EQ(calibrateSmall(6).exitCode, 0);
    const std::string plain =
        std::regex_replace(fileText(settings), std::regex("  <group name=\"ombrel\">[^]*</group>\n"), "");
    const std::string former = fileText(heap);
    ASSERT_EQ(plain.find("ombrel"), std::string::npos);
    int refused = 0;
    for (int rename = 1;; ++rename) {
        writeFileText(settings, plain);
        writeFileText(heap, former);
        const auto killed = calibrateSmall(7, {"LD_PRELOAD=" OMBREL_DIE_AT_WRITE_LIBRARY,
                                               "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0",
                                               "OMBREL_DIE_AT_RENAME=" + std::to_string(rename)});
        if (killed.exitCode == 0)
            break;
        ASSERT_EQ(killed.exitCode, 128 + SIGKILL) << killed.messages;
        if (fileText(settings) == plain && fileText(heap) == former)
            continue;
        ++refused;
        expectRefusal(correct(), 1, "is not the one it was made with");
    }
    EXPECT_EQ(refused, 1);
    EXPECT_NE(fileText(heap), former);
    EXPECT_EQ(correct().exitCode, 0);
}

TEST_F(Adaptive, APairThatDoesNotFitIsRefusedByEveryCommand) {
    writeFileText(folder / "a.bin.former", "a file of the user's");
    ASSERT_EQ(calibrateSmall(6).exitCode, 0);
    const std::string former = fileText(heap);
    ASSERT_EQ(correct().exitCode, 0);
    EXPECT_THAT(runOmbrel({"info", settings}).output, HasSubstr("a.bin, the one it was made with"));
    ASSERT_EQ(calibrateSmall(7).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "a.bin.former"));
    std::filesystem::remove(folder / "out.h5");

    writeFileText(heap, former);
    const std::string words = "is not the one it was made with";
    expectRefusal(correct(), 1, words);
    expectRefusal(calibrate({"--check", settings}), 1, words);
    expectRefusal(runOmbrel({"info", settings}), 1, words);
    std::filesystem::remove(heap);
    expectRefusal(correct(), 1, "is missing");
    EXPECT_FALSE(std::filesystem::exists(folder / "out.h5"));
}

TEST_F(Adaptive, ForceReplacesACalibrationAndNothingElse) {
    ASSERT_EQ(calibrateSmall(6).exitCode, 0);
    const std::string pair = fileText(settings);
    writeFileText(heap, "measured frames");
    expectRefusal(calibrateSmall(6), 1, "a.bin: is not a calibration");
    std::filesystem::remove(heap);
    writeFileText(settings, "measured frames");
    expectRefusal(calibrateSmall(6), 1, "a.xml: is not a settings file and is not replaced");
    EXPECT_EQ(fileText(settings), "measured frames");
}
