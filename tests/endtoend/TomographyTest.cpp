// A tomography scan from raw frames to attenuation, by two commands.
#include "base/Numbers.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Values.h"

#include <cmath>

namespace {

constexpr zt::u32 side = 32;
constexpr zt::u32 angles = 12;

std::vector<double> numbersIn(const std::string& path, const std::string& dataset, zt::u64 count) {
    const ombrel::Hdf5Session session;
    const auto numbers = ombrel::numbersAt(ombrel::openHdf5(path, "cannot be opened"), dataset, count);
    return numbers ? numbers->values : std::vector<double>();
}

std::vector<double> meanOfFrames(const std::string& path) {
    const auto all = readAllFrames(path);
    constexpr std::size_t pixels = std::size_t{side} * side;
    std::vector<double> mean(pixels);
    for (std::size_t i = 0; i < all.size(); ++i)
        mean[i % pixels] += all[i] / static_cast<double>(all.size() / pixels);
    return mean;
}

class Tomography : public ::testing::Test {
protected:
    Tomography() {
        runWell({"simulate", folder.path.string(), "--size", "32x32", "--frames", "1", "--grid-steps", "0",
                 "--wedge-steps", "0", "--angles", std::to_string(angles), "-q"});
    }

    const TemporaryFolder folder;
    const std::string scan = folder / "tomography.h5";
    const std::string settings = folder / "ff.xml";
    const std::string output = folder / "out.h5";
};

} // namespace

// Against the formula itself, in double, on every pixel that the open beam reaches.
TEST_F(Tomography, EqualsTheRatioOfTheMeanFields) {
    runWell({"calibrate", "flat-field", scan, "--bad", "none", "--keep-all", "-o", settings});
    const auto frames = readAllFrames(scan + "::/exchange/data");
    const auto flat = meanOfFrames(scan + "::/exchange/data_white");
    const auto dark = meanOfFrames(scan + "::/exchange/data_dark");
    for (const char* quantity : {"transmission", "attenuation"}) {
        runWell({"run", "-q", "-f", "Flat-Field=" + settings, scan, "-o", output, "--quantity", quantity,
                 "--force"});
        const auto found = readAllFrames(output);
        ASSERT_EQ(found.size(), frames.size());
        std::size_t compared = 0;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const std::size_t pixel = i % flat.size();
            const double passed = (frames[i] - dark[pixel]) / (flat[pixel] - dark[pixel]);
            const double expected = quantity == std::string("transmission") ? passed : -std::log(passed);
            if (!(flat[pixel] > dark[pixel]) || !std::isfinite(expected))
                continue;
            ASSERT_NEAR(found[i], expected, 1e-6 * std::abs(expected) + 1e-12) << quantity << ' ' << i;
            ++compared;
        }
        EXPECT_GT(compared, frames.size() * 9 / 10);
    }
    const auto theta = numbersIn(scan, "/exchange/theta", angles);
    EXPECT_THAT(numbersIn(output, "/exchange/theta", angles), ElementsAreArray(theta));
    runWell({"run", "-q", "-f", "Flat-Field=" + settings, scan, "-o", output, "--frames", "3:7", "--force"});
    EXPECT_THAT(numbersIn(output, "/exchange/theta", 4), ElementsAreArray(std::span(theta).subspan(3, 4)));
}

// The beam fluctuates by 2 %; the margin of each projection is open.
TEST_F(Tomography, MeetsTheSampleOnceFluctuationsAreOut) {
    runWell({"calibrate", "flat-field", scan, "--bad", "ff", "-o", settings});
    const auto truth = readAllFrames(folder / "tomography-attenuation.h5");
    const auto meanError = [&](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{"run",         "-q",     "-f",   "Flat-Field=" + settings,
                                           scan,          "-o",     output, "--quantity",
                                           "attenuation", "--force"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        runWell(arguments);
        const auto found = readAllFrames(output);
        double worst = 0;
        for (std::size_t frame = 0; frame < angles; ++frame) {
            std::vector<double> errors;
            for (std::size_t i = frame * side * side; i < (frame + 1) * side * side; ++i)
                if (std::isfinite(found[i]))
                    errors.push_back(found[i] - truth[i]);
            worst = std::max(worst, std::abs(ombrel::meanOf(errors)));
        }
        return worst;
    };
    EXPECT_GT(meanError({}), 0.015);
    EXPECT_LT(meanError({"--level-region", "0,0,4,32"}), 0.01);
    EXPECT_GT(meanError({"--level-region", "0,0,4,32", "--dark", "none"}), 0.05); // what the dark is for
}

TEST_F(Tomography, IsDescribedByInfo) {
    const std::string scanText = runWell({"info", scan}).output;
    EXPECT_THAT(scanText, HasSubstr("  metadata      /exchange/count_time, /exchange/theta\n"));
    EXPECT_THAT(scanText,
                HasSubstr("  run uses      12 frames of the sample, 20 darks if calibrated with them\n"));
    EXPECT_THAT(scanText, HasSubstr("  calibration   uses 20 flat fields and 20 dark fields\n"));
    runWell({"calibrate", "flat-field", scan, "--bad", "ff", "-o", settings});
    EXPECT_THAT(runWell({"info", settings}).output, AllOf(HasSubstr("counts, of 20 flat fields\n"),
                                                          HasSubstr("  dark          20 frames of 32 x 32")));
    runWell({"run", "-q", "-f", "Flat-Field=" + settings, scan, "-o", output, "--quantity", "transmission"});
    EXPECT_THAT(runWell({"info", output}).output,
                AllOf(HasSubstr("  quantity      transmission, level "),
                      HasSubstr("  dark          subtracted"),
                      HasSubstr("  metadata      /exchange/count_time, /exchange/theta\n")));
}
