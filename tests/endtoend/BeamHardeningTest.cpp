// From frames through known thicknesses to thickness maps by two commands.

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

namespace {

class BeamHardening : public ::testing::Test {
protected:
    ProgramResult calibrate(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"calibrate", "beam-hardening"});
        arguments.insert(arguments.end(), {"-o", settings, "--force"});
        return runOmbrel(arguments);
    }

    std::vector<double> mapOf(const std::string& input, std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"run", "-q", "-f", "Beam-hardening=" + settings, input, "-o", output,
                                         "--force", "--output-type", "f64"});
        runWell(options);
        return readAllFrames(output);
    }

    // 1000, 500 and 125 counts a second through thicknesses of 0, 1 and 2, in frames of 2 s; the thinnest in
    // two files, one of two frames.
    std::vector<std::string> writeMasks() const {
        writeTiff(folder / "open.tif",
                  ImageStack<zt::u16>{2, 2, {1990, 2000, 2000, 2000, 2010, 2000, 2000, 2000}});
        writeHdf5(folder / "open.h5", ImageStack<float>{2, 2, {2000, 2000, 2000, 2000}});
        writeTiff(folder / "one.tif", ImageStack<zt::i32>{2, 2, {1000, 1000, 1000, 1000}});
        writeTiff(folder / "two.tif", ImageStack<zt::u8>{2, 2, {250, 250, 250, 250, 250, 250, 250, 250}});
        return {"--mask",     "2=" + folder / "two.tif",
                "--mask",     "0=" + folder / "open.tif" + "," + folder / "open.h5",
                "--mask",     "1=" + folder / "one.tif",
                "--acq-time", "2"};
    }

    const TemporaryFolder folder;
    const std::string settings = folder / "bh.xml";
    const std::string output = folder / "out.h5";
    const double betweenOpenAndOne = std::log(1000.0 / 700) / std::log(1000.0 / 500);
};

} // namespace

TEST_F(BeamHardening, ReadsThicknessOffTheMasksInWhateverOrderTheyCame) {
    auto arguments = writeMasks();
    const auto made = calibrate(arguments);
    ASSERT_EQ(made.exitCode, 0) << made.messages;
    EXPECT_THAT(made.messages, HasSubstr("3 masks of 6 frames"));
    writeTiff(folder / "frames.tif", ImageStack<zt::u16>{2, 2, {700, 500, 2000, 50}});
    const double slope = 1 / std::log(500.0 / 125);
    const double error = 1e-14;
    EXPECT_THAT(mapOf(folder / "frames.tif", {"--acq-time", "1"}),
                ElementsAre(DoubleNear(betweenOpenAndOne, error), DoubleNear(1, error), DoubleNear(-1, error),
                            DoubleNear(1 + slope * std::log(500.0 / 50), error)));
    // A frame that is twice as long counts twice as much; one without a time counts for a second.
    EXPECT_THAT(mapOf(folder / "frames.tif", {"--acq-time", "0.5"})[0],
                DoubleNear(betweenOpenAndOne - 1, error));
    EXPECT_THAT(mapOf(folder / "frames.tif")[0], DoubleNear(betweenOpenAndOne, error));
}

TEST_F(BeamHardening, FillsZerosOnlyWhenTheyAreBad) {
    auto arguments = writeMasks();
    writeTiff(folder / "frames.tif", ImageStack<zt::u16>{2, 2, {700, 700, 0, 700}});
    ASSERT_EQ(calibrate(arguments).exitCode, 0);
    EXPECT_EQ(mapOf(folder / "frames.tif")[2], 0);
    arguments.push_back("--zero-as-bad");
    ASSERT_EQ(calibrate(arguments).exitCode, 0);
    EXPECT_THAT(mapOf(folder / "frames.tif")[2], DoubleNear(betweenOpenAndOne, 1e-14));
    arguments.push_back("--no-interpolate");
    ASSERT_EQ(calibrate(arguments).exitCode, 0);
    EXPECT_EQ(mapOf(folder / "frames.tif")[2], 0);
}

TEST_F(BeamHardening, RefusesWhatGivesNoMasksAndWritesNothing) {
    writeMasks();
    writeTiff(folder / "wide.tif", ImageStack<zt::u16>{3, 2, {1, 2, 3, 4, 5, 6}});
    const std::string one = "1=" + folder / "one.tif";
    const auto refuse = [&](const std::vector<std::string>& arguments, int exitCode,
                            const std::string& words) {
        expectRefusal(calibrate(arguments), exitCode, words);
        EXPECT_FALSE(std::filesystem::exists(settings)) << words;
    };
    refuse({"--mask", one}, 1, "Acquisition time cannot be zero");
    refuse({"--mask", one, "--acq-time", "0"}, 2, "--acq-time");
    refuse({"--mask", one, "--mask", "2=" + folder / "wide.tif", "--acq-time", "1"}, 1, "wide.tif");
    refuse({"--mask", "1=" + folder / "missing.tif", "--acq-time", "1"}, 1, "missing.tif");
    refuse({"--mask", one, "--mask", one, "--acq-time", "1"}, 2, "twice");
    for (const std::string text : {"one.tif", "=one.tif", "thin=one.tif", "inf=one.tif", "1=", "1=one.tif,"})
        refuse({"--mask", text}, 2, "THICKNESS=FILE");
    refuse({}, 2, "--mask");
}

TEST_F(BeamHardening, TellsOfMasksThatCannotGiveThicknesses) {
    writeMasks();
    const std::vector<std::string> mixedUp = {
        "--mask", "1=" + folder / "two.tif", "--mask", "2=" + folder / "one.tif", "--acq-time", "1"};
    EXPECT_THAT(calibrate(mixedUp).messages,
                HasSubstr("the mask of thickness 2 is not darker than that of 1 (1000 against 250 counts"));
    EXPECT_THAT(calibrate({"--mask", "1=" + folder / "two.tif", "--acq-time", "1"}).messages,
                HasSubstr("a single mask cannot give thicknesses"));
}

TEST_F(BeamHardening, LeavesPhotonStatisticsInASimulatedSet) {
    const std::string set = folder / "set/";
    runWell({"simulate", set, "--size", "64x64", "--frames", "1", "--grid-steps", "0", "-q"});
    std::vector<std::string> arguments;
    for (const std::string step : {"0", "0.3", "0.6", "0.9", "1.2", "1.5", "1.8", "2.1", "2.4", "2.7"})
        arguments.insert(arguments.end(), {"--mask", step + "=" + set + "wedge-" + step + "mm.h5"});
    const auto made = calibrate(arguments);
    ASSERT_EQ(made.exitCode, 0);
    EXPECT_THAT(made.messages, Not(HasSubstr("darker")));
    const auto map = mapOf(set + "wedge-sample.h5");
    const auto truth = readAllFrames(set + "wedge-thickness.h5");
    const auto noise = readAllFrames(set + "wedge-thickness.h5::/noise/data");
    const std::size_t size = 64 * 64;
    ASSERT_EQ(map.size(), 10 * size);
    double sum = 0;
    double squares = 0;
    int count = 0;
    for (std::size_t i = 0; i < map.size(); ++i)
        if (const double expected = noise[i % size]; expected != 0) {
            const double error = (map[i] - truth[i % size]) / expected;
            EXPECT_LT(std::abs(error), 8) << i;
            sum += error;
            squares += error * error;
            ++count;
        }
    EXPECT_LT(std::abs(sum / count), 0.1);
    EXPECT_THAT(std::sqrt(squares / count), DoubleNear(1, 0.15));
}
