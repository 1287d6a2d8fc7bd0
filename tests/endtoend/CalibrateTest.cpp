// From flat fields and from known thicknesses to corrected frames, by two commands each.
#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"
#include "frame/Statistics.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFile.h"

#include <numeric>

namespace {

// A calibration of one kind, and the frames that its filter makes.
class Calibrate : public ::testing::Test {
protected:
    Calibrate(std::string kindOfCalibration, std::string filterName)
        : kind(std::move(kindOfCalibration)), filter(std::move(filterName)) {}

    ProgramResult calibrate(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"calibrate", kind});
        arguments.insert(arguments.end(), {"-o", settings, "--force"});
        return runOmbrel(arguments);
    }

    void refuse(std::vector<std::string> arguments, int exitCode, const std::string& words) const {
        expectRefusal(calibrate(std::move(arguments)), exitCode, words);
        EXPECT_FALSE(std::filesystem::exists(settings)) << words;
    }

    std::vector<double> correct(const std::string& input, std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"run", "-q", "-f", filter + "=" + settings, input, "-o", output,
                                         "--force", "--output-type", "f64"});
        runWell(options);
        return readAllFrames(output);
    }

    const std::string kind;
    const std::string filter;
    const TemporaryFolder folder;
    const std::string settings = folder / "made.xml";
    const std::string output = folder / "out.h5";
};

class FlatField : public Calibrate {
protected:
    FlatField() : Calibrate("flat-field", "Flat-Field") {}

    // Means of two flats are 2, 4, 8, 6, and the lower middle one of these is 4.
    const ImageStack<zt::u32> flats{2, 2, {1, 4, 8, 5, 3, 4, 8, 7}};
    const ImageStack<zt::u32> frames{2, 2, {10, 20, 30, 40}};
    const std::vector<double> expected{10 * (4.0 / 2), 20 * 1.0, 30 * (4.0 / 8), 40 * (4.0 / 6)};
};

} // namespace

TEST_F(FlatField, AveragesTheFlatsOfAllFiles) {
    writeTiff(folder / "flats.tif", flats);
    writeTiff(folder / "frames.tif", frames);
    ASSERT_EQ(calibrate({folder / "flats.tif"}).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray(expected));

    writeTiff(folder / "one.tif", ImageStack<zt::u32>{2, 2, {1, 4, 8, 5}});
    writeHdf5(folder / "other.h5", ImageStack<zt::u32>{2, 2, {3, 4, 8, 7}});
    ASSERT_EQ(calibrate({folder / "one.tif", folder / "other.h5"}).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray(expected));

    // What a file holds decides, though the filter knows finished coefficients by such a name.
    std::filesystem::rename(folder / "flats.tif", folder / "flats.ffc");
    ASSERT_EQ(calibrate({folder / "flats.ffc"}).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray(expected));
    std::filesystem::rename(folder / "flats.ffc", folder / "flats.tif");

    // Sums in place of means: the division by the median brings them to scale.
    ASSERT_EQ(calibrate({folder / "flats.tif", "--acquisition"}).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray(expected));
}

// Means of two flats are 2, 4, 8, 6, and those of their columns 5 and 5.
TEST_F(FlatField, StoresTheLevelThatItsCoefficientsBringPixelsTo) {
    writeTiff(folder / "flats.tif", flats);
    const auto factsAfter = [&](std::vector<std::string> options) {
        options.insert(options.begin(), folder / "flats.tif");
        EXPECT_EQ(calibrate(options).exitCode, 0);
        return ombrel::validFactsOf(ombrel::readSettings(settings), settings);
    };
    EXPECT_EQ(factsAfter({}).level, 4);
    EXPECT_EQ(factsAfter({}).flatFields, 2);
    EXPECT_EQ(factsAfter({"--acquisition"}).level, 4); // though the table is the sum
    EXPECT_EQ(factsAfter({"--tdi"}).level, 5);
    EXPECT_EQ(factsAfter({"--exclude", "1"}).level, 4);
    EXPECT_EQ(factsAfter({"--exclude", "1"}).flatFields, 1);

    ombrel::SettingsTree changed = ombrel::readSettings(settings);
    changed.set("FF", "UseTDI", true);
    EXPECT_THAT([&] { ombrel::validFactsOf(changed, settings); },
                ThrowsMessage<std::runtime_error>(HasSubstr("calibrate again")));

    std::ofstream(folder / "flat.txt") << "2 4\n8 6\n";
    ASSERT_EQ(calibrate({folder / "flat.txt", "--size", "2x2"}).exitCode, 0);
    EXPECT_FALSE(ombrel::factsOf(ombrel::readSettings(settings)).level); // a table has no counts
}

TEST_F(FlatField, TakesTdiAndTheTableOfAnotherRun) {
    writeTiff(folder / "flats.tif", flats);
    writeTiff(folder / "frames.tif", frames);
    const std::string table = folder / "table.ffc";
    ASSERT_EQ(
        calibrate({folder / "flats.tif", "--tdi", "--ffc", table, "--ascii", folder / "table.txt"}).exitCode,
        0);
    // The means of the columns are 5 and 5.
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray({10.0, 20.0, 30.0, 40.0}));
    EXPECT_EQ(std::filesystem::file_size(table), 32u);
    EXPECT_TRUE(std::filesystem::exists(folder / "table.txt"));

    ASSERT_EQ(calibrate({table, "--size", "2x2"}).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray(expected));

    std::ofstream(folder / "flat.txt") << "2 4\n8 6\n";
    ASSERT_EQ(calibrate({folder / "flat.txt", "--size", "2x2"}).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif"), ElementsAreArray(expected));
}

TEST_F(FlatField, RefusesWhatGivesNoCoefficientsAndWritesNothing) {
    writeTiff(folder / "flats.tif", flats);
    writeTiff(folder / "wide.tif", ImageStack<zt::u32>{3, 2, {1, 2, 3, 4, 5, 6}});
    std::ofstream(folder / "short.txt") << "1 2 3";
    std::ofstream(folder / "words.txt") << "not a matrix";
    std::ofstream(folder / "empty.ffc");
    refuse({folder / "flats.tif", folder / "wide.tif"}, 1, "wide.tif");
    refuse({folder / "flats.tif", folder / "missing.tif"}, 1, "missing.tif");
    refuse({folder / "short.txt", "--size", "2x2"}, 1, "short.txt");
    refuse({folder / "words.txt", "--size", "2x2"}, 1, "words.txt");
    refuse({folder / "missing.ffc", "--size", "2x2"}, 1, "missing.ffc");
    refuse({folder / "empty.ffc", "--size", "2x2"}, 1, "empty.ffc");
    refuse({folder / "short.txt"}, 2, "--size");
    refuse({folder / "flats.tif", folder / "short.txt"}, 1, "short.txt: is a table of numbers");
    for (const char* start : {"SIMPLE  =                    T", "<?xml version=\"1.0\"?>", "1 2\x01"}) {
        std::ofstream(folder / "other.fits") << start;
        refuse({folder / "other.fits"}, 1,
               "other.fits: holds no flat field: it holds neither frames nor a matrix");
    }
    refuse({folder / "flats.tif", "--acquisition", "--sub-frame", "0"}, 1, "sub-frame");
    refuse({folder / "flats.tif", "--sub-frame", "0"}, 2, "--acquisition");
    refuse({folder / "flats.tif", "--ffc", folder / "table.txt"}, 2, "ffc");
    refuse({folder / "flats.tif", "--bad", "some"}, 2, "--bad");
}

TEST_F(FlatField, LeavesPhotonStatisticsInASimulatedSet) {
    runWell({"simulate", folder / "set", "--size", "64x64", "--frames", "4", "-q"});
    const std::string set = folder / "set/frames.h5";
    ASSERT_EQ(calibrate({set, "--bad", "ff"}).exitCode, 0);
    EXPECT_EQ(correct(set).size(), 4u * 64 * 64);
    // The lower right of the frame is open beam.
    const auto left = ombrel::reportOnRegion(output, {30, 58, 30, 6});
    EXPECT_LT(left.spread, 1.5 * left.statistics);
    EXPECT_GT(left.spread, 0.7 * left.statistics);
}

namespace {

class BeamHardening : public Calibrate {
protected:
    BeamHardening() : Calibrate("beam-hardening", "Beam-hardening") {}

    // 1000, 500 and 125 counts a second through thicknesses of 0, 1 and 2, in frames of 2 s; the thinnest in
    // two files, one of two frames.
    std::vector<std::string> writeMasks() const {
        writeTiff(folder / "open.tif",
                  ImageStack<zt::u16>{2, 2, {1990, 2000, 2000, 2000, 2010, 2000, 2000, 2000}});
        writeHdf5(folder / "open.h5", ImageStack<float>{2, 2, {2000, 2000, 2000, 2000}});
        writeTiff(folder / "one.tif", ImageStack<zt::i32>{2, 2, {1000, 1000, 1000, 1000}});
        writeTiff(folder / "two.tif", ImageStack<zt::u8>{2, 2, {249, 250, 250, 250, 251, 250, 250, 250}});
        return {"--mask",     "2=" + folder / "two.tif",
                "--mask",     "0=" + folder / "open.tif" + "," + folder / "open.h5",
                "--mask",     "1=" + folder / "one.tif",
                "--acq-time", "2"};
    }

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
    EXPECT_THAT(correct(folder / "frames.tif", {"--acq-time", "1"}),
                ElementsAre(DoubleNear(betweenOpenAndOne, error), DoubleNear(1, error), DoubleNear(-1, error),
                            DoubleNear(1 + slope * std::log(500.0 / 50), error)));
    // A frame that is twice as long counts twice as much; one without a time counts for a second.
    EXPECT_THAT(correct(folder / "frames.tif", {"--acq-time", "0.5"})[0],
                DoubleNear(betweenOpenAndOne - 1, error));
    EXPECT_THAT(correct(folder / "frames.tif")[0], DoubleNear(betweenOpenAndOne, error));
}

TEST_F(BeamHardening, FillsZerosOnlyWhenTheyAreBad) {
    auto arguments = writeMasks();
    writeTiff(folder / "frames.tif", ImageStack<zt::u16>{2, 2, {700, 700, 0, 700}});
    ASSERT_EQ(calibrate(arguments).exitCode, 0);
    EXPECT_EQ(correct(folder / "frames.tif")[2], 0);
    arguments.push_back("--zero-as-bad");
    ASSERT_EQ(calibrate(arguments).exitCode, 0);
    EXPECT_THAT(correct(folder / "frames.tif")[2], DoubleNear(betweenOpenAndOne, 1e-14));
    arguments.push_back("--no-interpolate");
    ASSERT_EQ(calibrate(arguments).exitCode, 0);
    EXPECT_EQ(correct(folder / "frames.tif")[2], 0);
}

TEST_F(BeamHardening, RefusesWhatGivesNoMasksAndWritesNothing) {
    writeMasks();
    writeTiff(folder / "wide.tif", ImageStack<zt::u16>{3, 2, {1, 2, 3, 4, 5, 6}});
    const std::string one = "1=" + folder / "one.tif";
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
    const auto map = correct(set + "wedge-sample.h5");
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

// Frames at high count rates, of which a paralysable dead time takes a fifth.
TEST(CountRate, BringsBackTheFluxOfEveryPixel) {
    const TemporaryFolder folder;
    const std::string set = folder / "set/", settings = folder / "rate.xml", output = folder / "out.h5";
    runWell({"simulate", set, "--size", "64x64", "--frames", "1", "--grid-steps", "0", "--wedge-steps", "0",
             "--dead-time", "100", "-q"});
    std::vector<std::string> arguments{"calibrate", "count-rate", "-o", settings};
    for (const std::string flux : {"1.8", "2", "2.2", "2.4", "2.6", "2.8"})
        arguments.insert(arguments.end(), {"--flux", flux + "=" + set + "count-rate-" + flux + ".h5"});
    runWell(arguments);
    runWell({"run", "-q", "-f", "Beam-hardening=" + settings, set + "count-rate-frames.h5", "-o", output,
             "--output-type", "f64"});
    const auto counts = readAllFrames(set + "count-rate-frames.h5");
    const auto fluxes = readAllFrames(output);
    constexpr std::size_t size = 64 * 64, framesPerFlux = 10;
    for (std::size_t part = 0; const double truth : {2.0, 2.1, 2.3, 2.5, 2.6}) {
        std::vector<double> means; // of the frames of that flux, for each pixel
        for (std::size_t pixel = 0; pixel < size; ++pixel) {
            double sum = 0;
            for (std::size_t frame = 0; frame < framesPerFlux; ++frame)
                sum += fluxes[(part * framesPerFlux + frame) * size + pixel];
            const double count = counts[part * framesPerFlux * size + pixel];
            if (count > 1e6 && count < 3e6) // neither dead nor hot
                means.push_back(sum / framesPerFlux / truth);
        }
        ++part;
        ASSERT_GT(means.size(), size * 9 / 10);
        const double mean =
            std::accumulate(means.begin(), means.end(), 0.0) / static_cast<double>(means.size());
        double squares = 0;
        for (const double value : means)
            squares += (value - mean) * (value - mean);
        EXPECT_NEAR(mean, 1, 0.005) << truth;
        EXPECT_LT(std::sqrt(squares / static_cast<double>(means.size())), 0.003) << truth;
    }

    const std::string low = "1=" + set + "count-rate-2.6.h5", high = "2=" + set + "count-rate-1.8.h5";
    expectRefusal(runOmbrel({"calibrate", "count-rate", "--flux", low, "-o", folder / "a.xml"}), 2,
                  "at least two");
    expectRefusal(runOmbrel({"calibrate", "count-rate", "--flux", "2", "-o", folder / "a.xml"}), 2,
                  "FLUX=FILE");
    expectRefusal(
        runOmbrel({"calibrate", "count-rate", "--flux", low, "--flux", high, "-o", folder / "a.xml"}), 1,
        "most pixels count no more");
    EXPECT_FALSE(std::filesystem::exists(folder / "a.xml"));
}
