// Transmission and attenuation instead of counts.
#include "endtoend/SmallScan.h"
#include "fixtures/HeapBytes.h"
#include "frame/FrameOutput.h"
#include "settings/SettingsFile.h"

#include <cmath>

namespace {

class QuantityOfFrames : public SmallScan {
protected:
    ProgramResult give(const std::string& quantity, std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"--quantity", quantity});
        return run(options);
    }
    ombrel::OutputState state() const { return *ombrel::FrameOutput::stateOf(output); }

    const std::vector<double> transmission{0.5, 0.5, 0.5, 0.5, 0, 0, 0, 0, -0.01, -0.005, -0.02, -1.0 / 150};
};

constexpr double rounding = 1e-15;

} // namespace

TEST_F(QuantityOfFrames, IsThePartOfTheOpenBeam) {
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    ASSERT_EQ(give("transmission").exitCode, 0);
    EXPECT_THAT(readAllFrames(output), Pointwise(DoubleNear(rounding), transmission));
    EXPECT_EQ(state().plan.quantity, "transmission");
    EXPECT_EQ(state().plan.units, "1");
    EXPECT_EQ(state().plan.level, 100);
    EXPECT_EQ(state().rows[2].level, 100);

    const auto ran = give("attenuation");
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_THAT(ran.messages, HasSubstr("8 pixels of 2 frames are 0 or below"));
    const auto attenuation = readAllFrames(output);
    EXPECT_THAT(std::span(attenuation).first(4), Each(DoubleNear(std::log(2), rounding)));
    EXPECT_THAT(std::span(attenuation).last(8), Each(IsNan()));
    EXPECT_EQ(state().rows[1].notPositive, 4u);

    // Counts are those of a run without the option, and name their level.
    ASSERT_EQ(give("counts").exitCode, 0);
    EXPECT_THAT(readAllFrames(output), Pointwise(DoubleNear(1e-12), corrected));
    EXPECT_EQ(state().plan.quantity, "counts");
    EXPECT_EQ(state().plan.level, 100);
    EXPECT_FALSE(state().rows[0].level);

    // A bin is the sum of four pixels.
    ASSERT_EQ(give("transmission", {"-f", "Binning 2x2"}).exitCode, 0);
    EXPECT_THAT(readAllFrames(output)[0], DoubleNear(0.5, rounding));
    EXPECT_EQ(state().plan.level, 400);
}

TEST_F(QuantityOfFrames, KeepsItsLevelWithSumsColumnsAndSingleFlats) {
    for (const char* option : {"--acquisition", "--tdi", "--exclude=1"}) {
        ASSERT_EQ(calibrate({scan, option}).exitCode, 0);
        ASSERT_EQ(give("transmission").exitCode, 0) << option;
        // With TDI a pixel is compared with the mean of its column.
        const double first = option == std::string("--tdi")         ? 50 / 75.0
                             : option == std::string("--exclude=1") ? 50 / 99.0
                                                                    : 0.5;
        EXPECT_THAT(readAllFrames(output)[0], DoubleNear(first, rounding)) << option;
    }
}

// The lamp of the third frame is down to a half.
TEST_F(QuantityOfFrames, TakesTheLevelFromAnOpenRegionOfEachFrame) {
    const std::string frames = folder / "frames.tif";
    writeTiff(frames, ImageStack<zt::u16>{2, 2, {53, 205, 52, 157, 28, 105, 27, 82}});
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    runWell({"run", "-q", "-f", "Flat-Field=" + settings, frames, "-o", output, "--quantity", "transmission",
             "--level-region", "0,1,2,1", "--output-type", "f64"});
    const std::vector<double> half{0.5, 1, 1, 1, 0.5, 1, 1, 1};
    EXPECT_THAT(readAllFrames(output), Pointwise(DoubleNear(rounding), half));
    EXPECT_EQ(state().rows[0].level, 100);
    EXPECT_EQ(state().rows[1].level, 50);
    EXPECT_FALSE(state().plan.level);
    const std::string again = folder / "again.h5";
    runWell({"replay", output, "-o", again});
    // A frame whose region is dark has no level.
    const auto ran = give("transmission", {"--level-region", "0,0,1,1"});
    EXPECT_EQ(ran.exitCode, 1);
    EXPECT_THAT(ran.messages, HasSubstr("the mean of the level region is 0"));
    expectRefusal(give("transmission", {"--level-region", "1,1,2,1"}), 2, "reaches beyond");
    for (const char* text : {"1,1,2", "1,1,2,1,", "a,1,1,1", "0,0,0,1"})
        EXPECT_EQ(give("transmission", {"--level-region", text}).exitCode, 2) << text;
    expectRefusal(give("counts", {"--level-region", "0,0,1,1"}), 2, "--level-region goes with");
}

TEST_F(QuantityOfFrames, IsRefusedWithoutALevel) {
    const auto refuse = [&](int exitCode, const std::string& words, std::vector<std::string> options = {}) {
        expectRefusal(give("transmission", std::move(options)), exitCode, words);
        EXPECT_FALSE(std::filesystem::exists(output)) << words;
    };
    std::ofstream(folder / "flat.txt") << "2 4\n8 6\n";
    runWell({"calibrate", "flat-field", folder / "flat.txt", "--size", "2x2", "-o", settings});
    refuse(1, "calibrate again");
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    refuse(2, "exactly one of", {"-f", "Flat-Field=" + settings});
    refuse(2, "not with Beam-hardening", {"-f", "Beam-hardening"});
    expectRefusal(runOmbrel({"run", "-f", "Binning 2x2", scan, "-o", output, "--quantity", "attenuation"}), 2,
                  "exactly one of");
    ombrel::SettingsTree changed = ombrel::readSettings(settings);
    changed.set("FF", "UseTDI", true);
    ombrel::writeSettingsFile(changed, settings);
    refuse(1, "calibrate again");
}

// Two flat fields of means 110 and 220; the frames are a half of each.
TEST_F(QuantityOfFrames, OfAdaptiveFFIsThatOfTheChosenGridPoint) {
    std::vector<zt::u16> flats, halves;
    for (int i = 0; i < 16; ++i)
        flats.push_back((i + i / 4) % 2 == 0 ? 100 : 120); // a checkerboard
    for (int i = 0; i < 16; ++i)
        flats.push_back(i / 4 % 2 == 0 ? 300 : 140); // stripes
    for (int i = 0; i < 32; ++i)
        halves.push_back(flats[(i + 16) % 32] / 2);
    writeTiff(folder / "a.tif", ImageStack<zt::u16>{4, 4, flats});
    writeTiff(folder / "frames.tif", ImageStack<zt::u16>{4, 4, halves});
    writeFileText(folder / "grid.csv", "v,t,e,file,page\n1,1,9,a.tif,0\n2,1,9,a.tif,1\n");
    const std::string adaptive = folder / "a.xml";
    const auto make = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"calibrate", "adaptive", "-q", "--grid", folder / "grid.csv", "-o",
                                         adaptive, "--force"});
        for (const char* setting : {"Kernel=0,-1,0,-1,4,-1,0,-1,0", "QfTileSize=0", "QfTileThreshold=80",
                                    "QfBorderMaskSize=0", "Interpolation=0"})
            options.insert(options.end(), {"--set", setting});
        runWell(options);
    };
    const auto correct = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"run", "-q", "-f", "AdaptiveFF=" + adaptive, folder / "frames.tif",
                                         "-o", output, "--force", "--quantity", "transmission"});
        return runOmbrel(options);
    };
    make({"--set", "PPEnabled=false", "--normalise"});
    ASSERT_EQ(correct({}).exitCode, 0);
    EXPECT_THAT(readAllFrames(output), Each(DoubleNear(0.5, 1e-7)));
    EXPECT_EQ(state().rows[0].level, 220);
    EXPECT_EQ(state().rows[1].level, 110);
    EXPECT_FALSE(state().plan.level);
    make({"--set", "PPEnabled=false"});
    ASSERT_EQ(correct({}).exitCode, 0);
    EXPECT_THAT(readAllFrames(output), Each(DoubleNear(0.5, 1e-7)));
    EXPECT_EQ(state().plan.level, 1);

    expectRefusal(correct({"--no-choice"}), 2, "--no-choice");
    expectRefusal(correct({"-p", "AdaptiveFF:Search=2"}), 2, "mosaic");
    make({"--set", "PPEnabled=true"});
    expectRefusal(correct({}), 2, "PPEnabled");
}

TEST_F(QuantityOfFrames, IsPartOfTheRecordAndOfMergedOutputs) {
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    const std::string first = folder / "first.h5", whole = folder / "whole.h5";
    ASSERT_EQ(give("transmission", {"--frames", "0:1"}).exitCode, 0);
    std::filesystem::rename(output, first);
    ASSERT_EQ(give("transmission", {"--frames", "1:3"}).exitCode, 0);
    runWell({"merge", first, output, "-o", whole});
    EXPECT_THAT(readAllFrames(whole), Pointwise(DoubleNear(rounding), transmission));
    EXPECT_EQ(ombrel::FrameOutput::stateOf(whole)->plan.level, 100);
    runWell({"replay", whole, "-o", folder / "again.h5"});
    ASSERT_EQ(give("attenuation", {"--frames", "1:3"}).exitCode, 0);
    expectRefusal(runOmbrel({"merge", first, output, "-o", whole, "--force"}), 1, "quantity");
    expectRefusal(runOmbrel({"run", "-f", "Flat-Field=" + settings, scan, "--frames", "1:3", "-o", output,
                             "--output-type", "f64", "--resume"}),
                  1, "quantity");
}
