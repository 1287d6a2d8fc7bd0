// `ombrel run` on files of every kind.

#include "fixtures/FrameFiles.h"
#include "fixtures/PlainBinning.h"
#include "fixtures/Program.h"

#include <random>

namespace {

// Values that fill the type's range, but stay exact as doubles.
template <typename T>
ImageStack<T> randomStack(zt::u32 width, zt::u32 height, zt::u32 images) {
    std::mt19937 engine(7);
    ImageStack<T> stack{width, height, std::vector<T>(width * height * images)};
    for (T& pixel : stack.pixels)
        pixel = std::is_floating_point_v<T> ? static_cast<T>(static_cast<double>(engine()) / 65536 - 30000)
                                            : static_cast<T>(engine());
    return stack;
}

template <typename T>
std::vector<double> expectedBinning(const ImageStack<T>& stack) {
    std::vector<double> all;
    const std::size_t size = stack.width * stack.height;
    for (std::size_t i = 0; i < stack.pixels.size(); i += size) {
        const std::vector<double> frame(stack.pixels.begin() + i, stack.pixels.begin() + i + size);
        const auto binned = binnedPlainly(frame, stack.width, stack.height);
        all.insert(all.end(), binned.begin(), binned.end());
    }
    return all;
}

} // namespace

TEST(Run, GivesTheExactBlockSumsOfARangeOfAllInputsTogether) {
    const TemporaryFolder folder;
    const auto first = randomStack<zt::i32>(34, 17, 4);
    const auto second = randomStack<double>(34, 17, 4);
    writeTiff(folder / "a.tif", first);
    writeHdf5(folder / "b.h5", second);
    auto expected = expectedBinning(first);
    expected.erase(expected.begin(), expected.begin() + 3 * 34 * 17);
    const auto more = expectedBinning(second);
    expected.insert(expected.end(), more.begin(), more.begin() + 2 * 34 * 17);
    for (const char* output : {"out.tif", "out.h5"}) {
        const auto result =
            runWell({"run", "-f", "Binning 2x2", folder / "a.tif", folder / "b.h5", "-o", folder / output,
                     "--frames", "3:6", "--output-type", "f64", "--marks", "none"});
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.messages, HasSubstr("3 frames"));
        EXPECT_EQ(readAllFrames(folder / output), expected);
    }
}

TEST(Filters, AreShownAsTextAndAsJson) {
    const auto text = runWell({"filters"});
    EXPECT_THAT(text.output, HasSubstr("Binning 2x2"));
    EXPECT_THAT(text.output, HasSubstr("Version = 1.0"));
    // These come up only once settings are loaded.
    EXPECT_THAT(text.output, HasSubstr("QFTileSize = 16  (i32"));
    EXPECT_EQ(text.messages, "");
    const auto json = runOmbrel({"filters", "--json"});
    EXPECT_THAT(json.output, HasSubstr("\"name\": \"Binning 2x2\""));
}

TEST(Run, SaysOfFramesWhatLooksWrongInALineEach) {
    const TemporaryFolder folder;
    constexpr zt::u16 top = 65535;
    ImageStack<zt::u16> stack{2, 2, {1, 2, 3, 4, 7, 7, 7, 7, 8, 8, 8, 8, top, top, top, top, 0, 0, 0, 0}};
    writeTiff(folder / "in.tif", stack);
    const auto result = runWell({"run", "-f", "Binning 2x2", folder / "in.tif", "-o", folder / "out.h5",
                                 "--report", folder / "report.json", "-q"});
    EXPECT_EQ(result.messages, "ombrel: 3 frames are constant: 1-2, 4\nombrel: 1 frame is saturated: 3\n");
    EXPECT_THAT(fileText(folder / "report.json"), HasSubstr("\"kind\": \"saturated\""));
}

TEST(Run, StopsAtSettingsThatCannotFit) {
    const TemporaryFolder folder;
    writeTiff(folder / "flat.tif", ImageStack<zt::u16>{2, 2, {1, 2, 3, 4}});
    writeTiff(folder / "in.tif", ImageStack<zt::u16>{3, 2, std::vector<zt::u16>(60, 5)});
    const auto calibrated =
        runOmbrel({"calibrate", "flat-field", folder / "flat.tif", "-o", folder / "ff.xml"});
    EXPECT_THAT(calibrated.messages, AllOf(HasSubstr("type u16"), HasSubstr("--bad ff")));
    const auto result = runOmbrel(
        {"run", "-f", "Flat-Field=" + folder / "ff.xml", folder / "in.tif", "-o", folder / "out.h5"});
    expectRefusal(result, 1, "its coefficients are for frames of 4 pixels; the frames have 3 x 2 = 6");
    EXPECT_EQ(std::ranges::count(result.messages, '\n'), 1) << result.messages;

    const auto run = runOmbrel(
        {"run", "-f", "Flat-Field=" + folder / "ff.xml", folder / "flat.tif", "-o", folder / "out.h5", "-q"});
    EXPECT_THAT(run.messages, AllOf(HasSubstr("type u16"), HasSubstr("--bad ff")));
}

TEST(Run, ShowsAReasonThatFramesShareOnce) {
    const TemporaryFolder folder;
    writeTiff(folder / "in.tif", ImageStack<zt::u16>{4, 4, std::vector<zt::u16>(16 * 5, 5)});
    const auto result =
        runOmbrel({"run", "-f", "Beam-hardening", folder / "in.tif", "-o", folder / "out.h5"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.messages, HasSubstr("frame 0: "));
    EXPECT_THAT(result.messages, HasSubstr("; the same for 4 more frames: 1-4\n"));
}
