// Dark fields, from the measured frames to corrected ones.
#include "endtoend/SmallScan.h"
#include "frame/FrameOutput.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFile.h"

#include <cstring>

namespace {

class Dark : public SmallScan {};

} // namespace

TEST_F(Dark, IsSubtractedFromFlatsAndFrames) {
    const auto made = calibrate({scan});
    ASSERT_EQ(made.exitCode, 0) << made.messages;
    EXPECT_THAT(made.messages, Not(HasSubstr("not used")));
    const auto facts = ombrel::factsOf(ombrel::readSettings(settings));
    ASSERT_TRUE(facts.dark);
    EXPECT_THAT(facts.dark->mean, ElementsAre(3, 5, 2, 7));
    EXPECT_EQ(facts.dark->frames, 2);
    EXPECT_EQ(facts.level, 100);
    const auto ran = run({});
    ASSERT_EQ(ran.exitCode, 0) << ran.messages;
    EXPECT_EQ(ran.messages, "");
    EXPECT_THAT(readAllFrames(output), Pointwise(DoubleNear(1e-12), corrected)); // negative results stay
}

TEST_F(Dark, OfAFileReplacesTheStoredOne) {
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    const std::string other = folder / "dark.tif";
    writeTiff(other, ImageStack<zt::u16>{2, 2, {53, 105, 27, 82}});
    ASSERT_EQ(run({"--dark", other}).exitCode, 0);
    EXPECT_THAT(readAllFrames(output), Contains(0).Times(4));
    ASSERT_EQ(run({"--dark", "none"}).exitCode, 0);
    EXPECT_EQ(readAllFrames(output)[0], 53);

    // A calibration without a dark.
    ASSERT_EQ(calibrate({scan, "--dark", "none"}).exitCode, 0);
    EXPECT_FALSE(ombrel::factsOf(ombrel::readSettings(settings)).dark);
    const auto ran = run({});
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_THAT(ran.messages,
                HasSubstr(scan + ": not used: 2 dark frames; the calibration was made without"));
    EXPECT_EQ(ran.messages.find("not used"), ran.messages.rfind("not used"));

    // No calibration at all: the frames keep their type and their bits.
    const auto binned = runOmbrel({"run", "-q", "-f", "Binning 2x2", scan, "-o", output, "--force"});
    EXPECT_THAT(binned.messages, HasSubstr("not used: 2 dark frames; --dark FILE"));
    EXPECT_EQ(readAllFrames(output)[0], 53 + 105 + 27 + 82);
}

TEST_F(Dark, OfAnotherSizeOrOfAnotherCalibrationIsRefused) {
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    const std::string wide = folder / "wide.tif", other = folder / "dark.tif", second = folder / "second.xml";
    writeTiff(wide, ImageStack<zt::u16>{3, 2, {1, 2, 3, 4, 5, 6}});
    writeTiff(other, ImageStack<zt::u16>{2, 2, {1, 1, 1, 1}});
    expectRefusal(run({"--dark", wide}), 1, "the dark has 3 x 2");
    expectRefusal(run({"--dark", folder / "missing.tif"}), 1, "missing.tif");
    expectRefusal(calibrate({scan, "--dark", wide}), 1, "the dark has 3 x 2");
    expectRefusal(runOmbrel({"run", "-f", "Flat-Field=" + settings, wide, "-o", output}), 1, "3 x 2");
    runWell({"calibrate", "flat-field", scan, "--dark", other, "--keep-all", "-o", second});
    expectRefusal(run({"-f", "Flat-Field=" + second}), 1,
                  settings + " and " + second + ": were calibrated with different darks");
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(Dark, IsNotTakenFromFramesOfAnotherKind) {
    const std::string white = folder / "white.h5";
    {
        Hdf5Builder file(white);
        file.data<zt::u16>("exchange/data_white", {1, 2, 2}, {100, 100, 100, 100});
        file.data<zt::u16>("exchange/data", {1, 2, 2}, {50, 50, 50, 50});
    }
    expectRefusal(calibrate({white, "--dark", white}), 1, "no dark fields (/exchange/data_dark)");
    expectRefusal(calibrate({scan, "--dark", scan + "::/exchange/data_white"}), 1,
                  "not brighter than the dark");
    EXPECT_FALSE(std::filesystem::exists(settings));
}

TEST_F(Dark, ThatWasDamagedIsRefused) {
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    const std::string text = fileText(settings);
    for (const auto& [from, to] :
         {std::pair("key=\"DarkWidth\" type=\"int\">2", "key=\"DarkWidth\" type=\"int\">4"),
          std::pair("key=\"DarkFields\" type=\"int\">2", "key=\"DarkFields\" type=\"int\">0"),
          std::pair("key=\"Dark\" type=\"blob\">AAAA", "key=\"Dark\" type=\"blob\">AAAB")}) {
        const std::size_t at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        writeFileText(settings, std::string(text).replace(at, std::strlen(from), to));
        expectRefusal(run({}), 1, settings + ": the dark that the calibration stored is damaged");
        expectRefusal(runOmbrel({"info", settings}), 1, "damaged");
    }
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(Dark, IsPartOfTheRecord) {
    ASSERT_EQ(calibrate({scan}).exitCode, 0);
    const std::string dark = folder / "dark.tif", again = folder / "again.h5";
    writeTiff(dark, ImageStack<zt::u16>{2, 2, {1, 2, 3, 4}});
    for (const std::vector<std::string>& options :
         {std::vector<std::string>(), {"--dark", dark}, {"--dark", scan + "::/exchange/data_dark"}}) {
        ASSERT_EQ(run(options).exitCode, 0);
        runWell({"replay", output, "-o", again, "--force"});
        EXPECT_EQ(readAllFrames(again), readAllFrames(output));
    }
    ASSERT_EQ(run({"--frames", "0:2", "--dark", dark}).exitCode, 0);
    const std::string first = folder / "first.h5";
    std::filesystem::rename(output, first);
    ASSERT_EQ(run({"--frames", "2:3"}).exitCode, 0);
    expectRefusal(runOmbrel({"merge", first, output, "-o", again, "--force"}), 1, "dark");
    writeTiff(dark, ImageStack<zt::u16>{2, 2, {1, 2, 3, 5}});
    expectRefusal(runOmbrel({"replay", first, "-o", again, "--force"}), 1, "dark.tif");
}

TEST_F(Dark, OfAnotherTimeIsReportedOnce) {
    const std::string flats = folder / "flats.h5", darks = folder / "darks.h5";
    for (const auto& [path, value, seconds] :
         {std::tuple(flats, zt::u16{50}, 2.0), std::tuple(darks, zt::u16{5}, 1.0)}) {
        Hdf5Builder file(path);
        file.images("entry/data/data", 3, value);
        file.number("entry/data/count_time", seconds);
    }
    const auto made = calibrate({flats, "--dark", darks});
    EXPECT_THAT(made.messages, HasSubstr("exposed for 2 s, the dark frames for 1 s"));
    const auto ran = runOmbrel({"run", "-q", "-f", "Flat-Field=" + settings, flats, "-o", output});
    EXPECT_THAT(ran.messages, HasSubstr("exposed for 2 s, the dark frames for 1 s"));
    EXPECT_EQ(ran.messages.find("exposed"), ran.messages.rfind("exposed"));
    const auto sameTime = runOmbrel(
        {"run", "-q", "-f", "Flat-Field=" + settings, flats, "--acq-time", "1", "-o", output, "--force"});
    EXPECT_EQ(sameTime.exitCode, 0);
    EXPECT_THAT(sameTime.messages, Not(HasSubstr("exposed")));
}

// A thickness mask is the sum of its frames, each without the dark.
TEST_F(Dark, IsSubtractedFromThicknessMasksAndTheGridOfFlats) {
    const std::string dark = folder / "dark.tif", open = folder / "open.tif", thick = folder / "thick.tif";
    writeTiff(dark, ImageStack<zt::u16>{2, 2, {10, 20, 30, 40}});
    writeTiff(open, ImageStack<zt::u16>{2, 2, {1010, 1020, 1030, 1040, 1010, 1020, 1030, 1040}});
    writeTiff(thick, ImageStack<zt::u16>{2, 2, {260, 270, 280, 290}});
    const std::string masks = folder / "bh.xml", frames = folder / "frames.tif";
    runWell({"calibrate", "beam-hardening", "--mask", "0=" + open, "--mask", "2=" + thick, "--dark", dark,
             "--acq-time", "1", "--keep-all", "-o", masks});
    writeTiff(frames, ImageStack<zt::u16>{2, 2, {510, 520, 530, 540}});
    runWell({"run", "-q", "-f", "Beam-hardening=" + masks, frames, "--acq-time", "1", "-o", output,
             "--output-type", "f64"});
    EXPECT_THAT(readAllFrames(output), Each(DoubleNear(1, 1e-12)));

    writeTiff(folder / "a.tif", ImageStack<zt::u16>{2, 2, {110, 220, 330, 440, 110, 220, 330, 440}});
    writeFileText(folder / "grid.csv", "v,t,e,file\n1,1,9,a.tif\n");
    runWell({"calibrate", "adaptive", "-q", "--grid", folder / "grid.csv", "--dark", dark, "--keep-all",
             "--set", "PPEnabled=false", "--set", "QfBorderMaskSize=0", "--set", "QfTileSize=0", "-o",
             folder / "a.xml"});
    runWell({"run", "-q", "-f", "AdaptiveFF=" + folder / "a.xml", folder / "a.tif", "-o", output, "--force"});
    EXPECT_THAT(readAllFrames(output), Each(DoubleNear(1, 1e-7)));
}
