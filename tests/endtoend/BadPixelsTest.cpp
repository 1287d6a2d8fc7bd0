// Masks of bad pixels: found, written, read again, and used.
#include "fixtures/FrameFiles.h"
#include "fixtures/Hdf5Builder.h"
#include "fixtures/Program.h"
#include "frame/PixelFaults.h"
#include "inspection/PixelMask.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fstream>
#include <map>

namespace {

namespace fault = ombrel::fault;

// The pixels that a simulated set names.
std::vector<std::size_t> pixelsOf(const std::string& set, const char* name) {
    std::ifstream file(set + "/simulation.json");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::size_t> pixels;
    for (const QJsonValue& pixel :
         QJsonDocument::fromJson(QByteArray::fromStdString(text)).object()[name].toArray())
        pixels.push_back(static_cast<std::size_t>(pixel.toInteger()));
    return pixels;
}

} // namespace

TEST(BadPixels, FindsTheFaultsOfASimulatedSetAndNoOthers) {
    const TemporaryFolder folder;
    const std::string set = folder / "set";
    runWell({"simulate", set, "--size", "128x128", "--noisy", "40", "--flickering", "40", "--bursting", "40",
             "--gap-columns", "3", "--grid-steps", "0", "--wedge-steps", "0", "--frames", "1", "-q"});
    const std::string mask = folder / "mask.h5";
    const ProgramResult made =
        runWell({"calibrate", "bad-pixels", set + "/frames.h5", "-o", mask, "-o", folder / "mask.tif", "-o",
                 folder / "mask.txt", "--picture", folder / "mask.png", "-q"});
    EXPECT_THAT(made.output, HasSubstr("gap               384\n"));
    const auto found = ombrel::readPixelMask(mask, "", 128, 128);
    std::vector<bool> isFaulty(found.faults.size());
    const auto part = [&](const char* name, zt::u32 faults) {
        std::size_t right = 0;
        const auto pixels = pixelsOf(set, name);
        for (const std::size_t pixel : pixels) {
            isFaulty[pixel] = true;
            right += (found.faults[pixel] & faults) == faults;
        }
        return static_cast<double>(right) / static_cast<double>(std::max<std::size_t>(1, pixels.size()));
    };
    EXPECT_EQ(part("deadPixels", fault::dead), 1);
    EXPECT_EQ(part("hotPixels", fault::over), 1);
    EXPECT_EQ(part("gapPixels", fault::gap), 1);
    EXPECT_EQ(part("burstingPixels", fault::bursting), 1);
    EXPECT_GT(part("flickeringPixels", fault::flickering), 0.85); // fainter in the corners
    EXPECT_GT(part("noisyPixels", fault::noisy), 0.5);
    for (std::size_t i = 0; i < isFaulty.size(); ++i)
        EXPECT_TRUE(isFaulty[i] || found.faults[i] == 0) << i;

    EXPECT_EQ(ombrel::readPixelMask(folder / "mask.txt", "", 128, 128).faults, found.faults);
    EXPECT_EQ(ombrel::readPixelMask(folder / "mask.tif", "", 128, 128).deviceBytes(), found.deviceBytes());
    EXPECT_GT(std::filesystem::file_size(folder / "mask.png"), 1000u);
}

TEST(BadPixels, SaysWhatItCannotJudge) {
    const TemporaryFolder folder;
    const std::string mask = folder / "mask.txt";
    writeTiff(folder / "one.tif", ImageStack<zt::u16>{2, 2, {50, 50, 50, 0}});
    const auto calibrate = [&](const std::string& flats) {
        return runOmbrel({"calibrate", "bad-pixels", flats, "-o", mask, "--force"});
    };
    const ProgramResult one = calibrate(folder / "one.tif");
    EXPECT_THAT(one.messages, HasSubstr("1 flat field: noise is not judged, which takes at least 3"));
    EXPECT_THAT(one.output, HasSubstr("dead              1\n"));
    std::filesystem::remove(mask);
    writeTiff(folder / "dark.tif", ImageStack<zt::u16>{2, 2, {50, 50, 51, 50, 1, 1, 0, 1, 49, 50, 51, 52}});
    expectRefusal(calibrate(folder / "dark.tif"), 1, "dark.tif, frame 1: its level is 2 % of the median");
    writeTiff(folder / "black.tif", ImageStack<zt::u16>{2, 2, {0, 0, 0, 0}});
    expectRefusal(calibrate(folder / "black.tif"), 1, "no pixel counts in any of the flat fields");
    EXPECT_FALSE(std::filesystem::exists(mask));
    expectRefusal(runOmbrel({"calibrate", "bad-pixels", folder / "one.tif", "-o", folder / "mask.png"}), 2,
                  "must end in");
}
