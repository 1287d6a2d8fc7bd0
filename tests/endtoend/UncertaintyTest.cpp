// Standard deviations of corrected pixels, against a detector of which the truth is known.

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFile.h"
#include "simulation/Scene.h"

#include <cmath>

namespace {

constexpr zt::u32 side = 160;
constexpr std::size_t framePixels = std::size_t{side} * side;
constexpr zt::u32 frameCount = 6;

using Values = std::vector<double>;

// Flat fields, masks of three thicknesses and frames of a detector whose response is known.
class Uncertainty : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = std::make_unique<TemporaryFolder>();
        simulation = std::make_unique<ombrel::simulation::Random>(11);
        for (std::size_t i = 0; i < framePixels; ++i) {
            response.push_back(std::exp(0.08 * simulation->gaussian()));
            transmission.push_back(0.3 + 0.7 * static_cast<double>(i % side) / side);
        }
        response[5] = 0; // dead
        expose(
            "flats.h5", 8, [](std::size_t i) { return 4000 * response[i]; });
        expose("frames.h5", frameCount, [](std::size_t i) { return 4000 * response[i] * transmission[i]; });
        runWell({"calibrate", "flat-field", *folder / "flats.h5", "-o", *folder / "ff.xml"});
    }
    static void TearDownTestSuite() {
        folder.reset();
        response.clear();
        transmission.clear();
    }

    static void expose(const std::string& name, zt::u32 frames,
                       const std::function<double(std::size_t)>& mean, double gain = 1) {
        ImageStack<zt::u32> stack{side, side, {}};
        for (zt::u32 frame = 0; frame < frames; ++frame)
            for (std::size_t i = 0; i < framePixels; ++i)
                stack.pixels.push_back(
                    static_cast<zt::u32>(std::lround(gain * simulation->poisson(mean(i) / gain))));
        writeHdf5(*folder / name, stack);
    }

    static std::vector<std::string> arguments(const std::vector<std::string>& links,
                                              const std::string& frames) {
        std::vector<std::string> all{"run", *folder / frames, "-o", *folder / "out.h5", "--force"};
        for (const std::string& link : links)
            all.insert(all.end(), {"-f", link});
        return all;
    }
    static ProgramResult run(const std::vector<std::string>& links, const std::vector<std::string>& more = {},
                             const std::string& frames = "frames.h5") {
        auto all = arguments(links, frames);
        all.insert(all.end(), more.begin(), more.end());
        return runOmbrel(all);
    }

    // Runs the chain; `truth` of each pixel, not a number for a pixel that is not good.
    static void expectHonest(const std::vector<std::string>& links,
                             const std::function<double(std::size_t)>& truth,
                             const std::string& frames = "frames.h5") {
        const auto result = run(links, {"--sigma", "-q"}, frames);
        ASSERT_EQ(result.exitCode, 0) << result.messages;
        const Values pixels = readAllFrames(*folder / "out.h5");
        const Values sigma = readAllFrames(*folder / "out.h5::/exchange/data_sigma");
        ASSERT_EQ(sigma.size(), pixels.size());
        double one = 0, two = 0, count = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const double deviation = std::abs(pixels[i] - truth(i % framePixels)) / sigma[i];
            if (std::isnan(deviation))
                continue;
            ++count;
            one += deviation < 1;
            two += deviation < 2;
        }
        EXPECT_GT(count, 0.99 * static_cast<double>(pixels.size())) << links.front();
        EXPECT_NEAR(100 * one / count, 68.27, 0.4) << links.front();
        EXPECT_NEAR(100 * two / count, 95.45, 0.25) << links.front();
    }

    // The counts to which Flat-Field corrects the open beam.
    static double level() { return ombrel::factsOf(ombrel::readSettings(*folder / "ff.xml")).level.value(); }
    static std::string flatField() { return "Flat-Field=" + *folder / "ff.xml"; }

    static std::unique_ptr<TemporaryFolder> folder;
    static std::unique_ptr<ombrel::simulation::Random> simulation;
    static Values response;
    static Values transmission;
};

std::unique_ptr<TemporaryFolder> Uncertainty::folder;
std::unique_ptr<ombrel::simulation::Random> Uncertainty::simulation;
Values Uncertainty::response;
Values Uncertainty::transmission;

// The sum of the block of 2 x 2 that holds the pixel; not a number beside the dead pixel.
double blockSum(std::size_t pixel, const std::function<double(std::size_t)>& value) {
    const std::size_t first = pixel / side / 2 * 2 * side + pixel % side / 2 * 2;
    return first == 4 ? std::nan("")
                      : value(first) + value(first + 1) + value(first + side) + value(first + side + 1);
}

// Writes all values of a dataset.
void overwrite(const std::string& file, const char* dataset, hid_t type, const void* values) {
    const hid_t opened = H5Fopen(file.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    const hid_t written = H5Dopen2(opened, dataset, H5P_DEFAULT);
    ASSERT_GE(H5Dwrite(written, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values), 0);
    H5Dclose(written);
    H5Fclose(opened);
}

} // namespace

TEST_F(Uncertainty, CoversTheTruthOfCounts) {
    const double open = level();
    const auto counts = [](std::size_t i) {
        return i == 5 ? std::nan("") : 4000 * response[i] * transmission[i];
    };
    const auto flat = [&](std::size_t i) { return i == 5 ? std::nan("") : open * transmission[i]; };
    expectHonest({flatField()}, flat);
    expectHonest(
        {"Binning 2x2"}, [&](std::size_t i) { return blockSum(i, counts); });
    expectHonest({flatField(), "Binning 2x2"}, [&](std::size_t i) { return blockSum(i, flat); });
}

TEST_F(Uncertainty, CoversTheTruthOfAThickness) {
    constexpr std::array thicknesses{0.0, 1.0, 2.0};
    const auto maskMean = [](std::size_t i, double thickness) {
        return 5000 * response[i] * std::exp(-0.8 * thickness);
    };
    std::vector<std::string> raw{"calibrate", "beam-hardening", "-o", *folder / "bh.xml", "--acq-time", "1"};
    std::vector<std::string> flat = raw;
    flat[3] = *folder / "bhff.xml";
    for (const double thickness : thicknesses) {
        const std::string name = "mask" + std::to_string(thickness) + ".h5";
        expose(name, 5, [&](std::size_t i) { return maskMean(i, thickness); });
        runWell({"run", "-q", "-f", flatField(), *folder / name, "-o", *folder / "ff" + name});
        raw.insert(raw.end(), {"--mask", std::to_string(thickness) + "=" + *folder / name});
        flat.insert(flat.end(), {"--mask", std::to_string(thickness) + "=" + *folder / "ff" + name});
    }
    runWell(raw);
    runWell(flat);
    // The masks lie on a line, so that the thickness of the truth is exact.
    const auto thickness = [](std::size_t i) {
        return i == 5 ? std::nan("") : 0.1 + 1.8 * static_cast<double>(i % side) / side;
    };
    expose("thick.h5", frameCount, [&](std::size_t i) { return i == 5 ? 0 : maskMean(i, thickness(i)); });
    expectHonest({"Beam-hardening=" + *folder / "bh.xml"}, thickness, "thick.h5");
    expectHonest({flatField(), "Beam-hardening=" + *folder / "bhff.xml"}, thickness, "thick.h5");
    expectRefusal(run({"Beam-hardening=" + *folder / "bhff.xml"}, {"--sigma"}), 1, "masks were corrected");
}

TEST_F(Uncertainty, CoversTheTruthOfAGridPoint) {
    const auto other = [](std::size_t i) { return response[framePixels - 1 - i] * response[i]; };
    expose(
        "one.h5", 6, [](std::size_t i) { return 4000 * response[i]; });
    expose(
        "two.h5", 6, [&](std::size_t i) { return 5000 * other(i); });
    expose("second.h5", frameCount, [&](std::size_t i) { return 3000 * other(i); });
    writeFileText(*folder / "grid.csv", "v,t,e,file\n1,1,1,one.h5\n2,1,1,two.h5\n");
    runWell({"calibrate", "adaptive", "-q", "--normalise", "--grid", *folder / "grid.csv", "--set",
             "PPEnabled=false", "-o", *folder / "a.xml"});
    double mean = 0; // of the second flat field's response
    for (std::size_t i = 0; i < framePixels; ++i)
        mean += other(i) / framePixels;
    const auto truth = [&](std::size_t i) { return other(i) == 0 ? std::nan("") : 3000 * mean; };
    const std::string adaptive = "AdaptiveFF=" + *folder / "a.xml";
    expectHonest({adaptive}, truth, "second.h5");

    expectRefusal(run({adaptive}, {"--sigma", "--no-choice"}), 2, "--no-choice");
    expectRefusal(run({adaptive}, {"--sigma", "-p", "AdaptiveFF:PPEanbled=true"}), 2, "PPEnabled");
    expectRefusal(run({adaptive}, {"--sigma", "-p", "AdaptiveFF:Search=2"}), 2, "mosaic");
}

TEST_F(Uncertainty, TakesTheGainOfTheDetector) {
    constexpr double gain = 12.5;
    const double open = 9000;
    expose(
        "integrated.h5", 10, [&](std::size_t i) { return open * response[i]; }, gain);
    expose(
        "sample.h5", frameCount, [&](std::size_t i) { return open * response[i] * transmission[i]; }, gain);
    runWell({"calibrate", "flat-field", *folder / "integrated.h5", "-o", *folder / "gain.xml"});
    const auto facts = ombrel::factsOf(ombrel::readSettings(*folder / "gain.xml"));
    EXPECT_NEAR(facts.gain.value(), gain, 0.02 * gain);
    EXPECT_EQ(ombrel::factsOf(ombrel::readSettings(*folder / "ff.xml")).gain, 1); // a counting detector
    const std::string link = "Flat-Field=" + *folder / "gain.xml";
    expectHonest(
        {link}, [&](std::size_t i) { return i == 5 ? std::nan("") : *facts.level * transmission[i]; },
        "sample.h5");
    const auto meanSigma = [&](const std::string& given) {
        const auto result = run({link}, {"--sigma", "--gain", given, "-q"}, "sample.h5");
        EXPECT_EQ(result.exitCode, 0) << result.messages;
        return readAllFrames(*folder / "out.h5::/exchange/data_sigma")[7];
    };
    EXPECT_NEAR(meanSigma("4") / meanSigma("1"), 2, 1e-6);
    expectRefusal(run({link}, {"--gain", "2"}), 2, "--gain goes with --sigma");
    expectRefusal(run({link}, {"--sigma", "--gain", "0"}), 2, "--gain");
}

// The offset of an integrating detector is no photons; the noise of reading it out adds to theirs.
TEST_F(Uncertainty, TellsAnOffsetFromPhotons) {
    constexpr double gain = 4;
    const auto readOut = [&](const std::string& name, zt::u32 frames, double open, bool isSample) {
        ImageStack<zt::u16> stack{side, side, {}};
        for (zt::u32 frame = 0; frame < frames; ++frame)
            for (std::size_t i = 0; i < framePixels; ++i) {
                const double mean = open * response[i] * (isSample ? transmission[i] : 1);
                const double photons = mean > 0 ? gain * simulation->poisson(mean / gain) : 0;
                const double offset = 1500 + static_cast<double>(i % 7);
                stack.pixels.push_back(
                    static_cast<zt::u16>(std::lround(offset + photons + 40 * simulation->gaussian())));
            }
        writeHdf5(*folder / name, stack);
    };
    readOut("offset.h5", 20, 0, false);
    readOut("panel.h5", 10, 3000, false);
    readOut("panel-sample.h5", frameCount, 3000, true);
    const std::string settings = *folder / "panel.xml";
    runWell(
        {"calibrate", "flat-field", *folder / "panel.h5", "--dark", *folder / "offset.h5", "-o", settings});
    const auto facts = ombrel::factsOf(ombrel::readSettings(settings));
    EXPECT_NEAR(facts.dark->variance.value(), 1600, 16);
    EXPECT_NEAR(facts.gain.value(), gain, 0.02 * gain);
    expectHonest(
        {"Flat-Field=" + settings},
        [&](std::size_t i) { return i == 5 ? std::nan("") : *facts.level * transmission[i]; },
        "panel-sample.h5");
}

TEST_F(Uncertainty, IsKeptByOutputsMadeOfOutputs) {
    const auto part = [](const std::string& name, const std::string& range) {
        auto all = arguments({flatField()}, "frames.h5");
        all[3] = *folder / name;
        all.insert(all.end(), {"--sigma-calibration", "-q", "--frames", range});
        runWell(all);
    };
    const auto planes = [](const std::string& name) {
        Values all = readAllFrames(*folder / name + "::/exchange/data_sigma");
        const Values shared = readAllFrames(*folder / name + "::/exchange/data_sigma_calibration");
        all.insert(all.end(), shared.begin(), shared.end());
        return all;
    };
    part("whole.h5", ":");
    part("first.h5", ":2");
    part("last.h5", "2:");
    runWell({"merge", *folder / "last.h5", *folder / "first.h5", "-o", *folder / "merged.h5"});
    EXPECT_EQ(planes("merged.h5"), planes("whole.h5"));
    runWell({"replay", "-q", *folder / "merged.h5", "-o", *folder / "again.h5"});
    EXPECT_EQ(planes("again.h5"), planes("whole.h5"));
    expectRefusal(runOmbrel({"replay", "-q", *folder / "whole.h5", "-o", *folder / "again.tif"}), 1, "TIFF");

    // Frames that an earlier run did not reach: the last four, whose planes are empty.
    const Values finished = planes("whole.h5");
    Values cut = finished;
    std::fill(cut.begin(), cut.begin() + frameCount * framePixels, 0);
    overwrite(*folder / "whole.h5", "/exchange/data_sigma", H5T_NATIVE_DOUBLE, cut.data());
    overwrite(*folder / "whole.h5", "/process/ombrel/frames_done", H5T_NATIVE_INT, std::array{2}.data());
    overwrite(*folder / "whole.h5", "/process/ombrel/complete", H5T_NATIVE_INT, std::array{0}.data());
    const std::vector<std::string> resume{
        "run", "-q", "-f", flatField(), *folder / "frames.h5", "--resume", "-o", *folder / "whole.h5"};
    expectRefusal(runOmbrel(resume), 1, "standard deviations: none now, calibration before");
    auto same = resume;
    same.push_back("--sigma-calibration");
    runWell(same);
    std::copy(finished.begin() + 2 * framePixels, finished.end(), cut.begin() + 2 * framePixels);
    EXPECT_EQ(planes("whole.h5"), cut);
}

TEST_F(Uncertainty, IsRefusedWhereItIsNotKnown) {
    const std::string binning = "Binning 2x2";
    expectRefusal(run({binning, flatField()}, {"--sigma"}), 2, "not followed through the chain");
    auto tiff = arguments({flatField()}, "frames.h5");
    tiff[3] = *folder / "out.tif";
    tiff.push_back("--sigma");
    expectRefusal(runOmbrel(tiff), 2, "not with TIFF");
    runWell({"run", "-q", "-f", flatField(), *folder / "frames.h5", "-o", *folder / "corrected.h5"});
    expectRefusal(run({binning}, {"--sigma"}, "corrected.h5"), 1, "corrected frames");
    // What the calibration knew is lost.
    auto settings = ombrel::readSettings(*folder / "ff.xml");
    settings.remove(ombrel::ownGroup);
    ombrel::writeSettingsFile(settings, *folder / "bare.xml");
    expectRefusal(run({"Flat-Field=" + *folder / "bare.xml"}, {"--sigma"}), 1, "calibrate again");
    expectRefusal(run({"Flat-Field"}, {"--sigma"}), 2, "needs its settings");
}
