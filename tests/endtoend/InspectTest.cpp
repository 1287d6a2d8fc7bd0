// Flat fields that are judged, by themselves and before a calibration.
#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"
#include "settings/SettingsFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <random>

namespace {

constexpr zt::u32 flatSide = 64;

class Inspect : public ::testing::Test {
protected:
    // Photon statistics of 1,000 counts a pixel; the frames of `factors` are scaled.
    static ImageStack<zt::u16> flats(const std::vector<double>& factors, unsigned seed = 1) {
        ImageStack<zt::u16> stack{flatSide, flatSide, {}};
        std::mt19937_64 random(seed);
        std::poisson_distribution<int> photons(1000);
        for (const double factor : factors)
            for (zt::u32 i = 0; i < flatSide * flatSide; ++i)
                stack.pixels.push_back(static_cast<zt::u16>(photons(random) * factor));
        return stack;
    }

    // Ten flat fields, of which 2 is black and 6 has an object in a corner.
    static ImageStack<zt::u16> spoilt() {
        std::vector<double> factors(10, 1);
        factors[2] = 0;
        auto stack = flats(factors);
        for (zt::u32 y = 0; y < 16; ++y)
            for (zt::u32 x = 48; x < flatSide; ++x) {
                auto& pixel = stack.pixels[(6 * flatSide + y) * flatSide + x];
                pixel = static_cast<zt::u16>(pixel * 0.8);
            }
        return stack;
    }

    ProgramResult calibrate(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"calibrate", "flat-field"});
        arguments.insert(arguments.end(), {"-o", settings, "--force"});
        return runOmbrel(arguments);
    }

    ombrel::SettingsTree filterSettings() const {
        ombrel::SettingsTree tree = ombrel::readSettings(settings);
        tree.remove(ombrel::ownGroup);
        return tree;
    }

    // The settings without the open host's own group, as text.
    std::string coefficients() const {
        ombrel::writeSettingsFile(filterSettings(), folder / "plain.xml");
        return fileText(folder / "plain.xml");
    }

    const TemporaryFolder folder;
    const std::string settings = folder / "ff.xml";
    const std::string file = folder / "flats.h5";
};

std::vector<std::string> linesWith(const std::string& text, const std::string& words) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (line.find(words) != std::string::npos)
            lines.push_back(line);
    return lines;
}

} // namespace

TEST_F(Inspect, LeavesBadFlatsOutOfACalibrationAndNotesTheVerdicts) {
    writeHdf5(file, spoilt());
    const ProgramResult judged = calibrate({file});
    ASSERT_EQ(judged.exitCode, 0) << judged.messages;
    EXPECT_THAT(
        linesWith(judged.messages, "left out"),
        ElementsAre(HasSubstr(file + ", frame 2 left out: dark, "),
                    AllOf(HasSubstr(file + ", frame 6 left out: structure, "), HasSubstr(" sigma near x "))));
    EXPECT_THAT(judged.messages, HasSubstr("8 of 10 flat fields: " + settings));
    const std::string good = coefficients();
    const std::string noted =
        std::get<std::string>(*ombrel::readSettings(settings).find("ombrel", "Inspection"));
    const auto frames = QJsonDocument::fromJson(QByteArray::fromStdString(noted)).array();
    ASSERT_EQ(frames.size(), 10);
    EXPECT_EQ(frames[6]["verdict"].toString(), "structure");
    EXPECT_NEAR(frames[0]["level"].toDouble(), 1000, 5);

    ASSERT_EQ(calibrate({file, "--exclude", "2,6"}).exitCode, 0);
    EXPECT_EQ(coefficients(), good);
    ASSERT_EQ(calibrate({file, "--only", "0-1,3-5,7-9", "--acquisition"}).exitCode, 0);
    const ProgramResult all = calibrate({file, "--keep-all"});
    EXPECT_THAT(linesWith(all.messages, "left out"), IsEmpty());
    EXPECT_THAT(all.messages, HasSubstr("frame 2 kept: dark"));
    EXPECT_NE(coefficients(), good);
}

TEST_F(Inspect, SaysThatVerdictsNoLongerApplyOnceTheSettingsWereChanged) {
    writeHdf5(file, spoilt());
    ASSERT_EQ(calibrate({file}).exitCode, 0);
    const std::vector<std::string> run{
        "run", "-q", "-f", "Flat-Field=" + settings, file, "-o", folder / "out.h5", "--force"};
    const std::string words = "no longer apply";
    EXPECT_THAT(runWell(run).messages, Not(HasSubstr(words)));
    EXPECT_THAT(runWell({"info", settings}).output, HasSubstr("8 of 10 frames"));
    ombrel::SettingsTree changed = ombrel::readSettings(settings);
    changed.set("FF", "BadFFOverCoeff", 4.0);
    ombrel::writeSettingsFile(changed, settings);
    EXPECT_THAT(runWell(run).messages, HasSubstr(settings + ": the filter's settings were changed"));
    EXPECT_THAT(runWell({"info", settings}).output, HasSubstr(words));
}

TEST_F(Inspect, WritesReportsWhoseNamesAreText) {
    const std::string odd = folder / "<b>&'.tif";
    writeTiff(odd, spoilt());
    const std::string page = folder / "page.html";
    const ProgramResult result = runWell({"inspect", odd, "--report", page});
    EXPECT_THAT(result.output, AllOf(HasSubstr("8 of 10 good"), HasSubstr("structure, ")));
    const std::string text = fileText(page);
    EXPECT_THAT(text,
                AllOf(HasSubstr("&lt;b&gt;&amp;"), HasSubstr("data:image/png;base64,"), HasSubstr("<svg")));
    EXPECT_THAT(text, AllOf(Not(HasSubstr("<b>")), Not(HasSubstr("http")), Not(HasSubstr("<script"))));

    runWell({"inspect", odd, "--report", folder / "page.json"});
    const auto json = QJsonDocument::fromJson(QByteArray::fromStdString(fileText(folder / "page.json")));
    const auto frames = json["sets"][0]["frames"].toArray();
    EXPECT_EQ(frames[2]["verdict"].toString(), "dark");
    EXPECT_EQ(frames[6]["worstTile"]["y"].toInt() / 16, 0);

    expectRefusal(runOmbrel({"inspect", odd, "--report", page}), 1, "--force");
    expectRefusal(runOmbrel({"inspect", odd, "--report", folder / "page.txt"}), 2, ".json or .html");
    writeHdf5(folder / "in.json", spoilt());
    expectRefusal(runOmbrel({"inspect", folder / "in.json", "--report", folder / "in.json", "--force"}), 2,
                  "is both an input and the report");
}

TEST_F(Inspect, RefusesSetsThatCannotBeUsedInOneLineEach) {
    writeHdf5(file, flats({0, 0, 0, 1, 1}));
    const ProgramResult bad = calibrate({file, "--report", folder / "r.json"});
    EXPECT_THAT(linesWith(bad.messages, "only "), ElementsAre(HasSubstr(" are good; check the frames")));
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(settings));
    EXPECT_TRUE(std::filesystem::exists(folder / "r.json"));

    writeTiff(folder / "small.tif", ImageStack<zt::u16>{2, 2, {1, 2, 3, 4}});
    expectRefusal(runOmbrel({"inspect", file, folder / "small.tif"}), 1, "differ in size");
    writeHdf5(file, flats({1}));
    EXPECT_THAT(calibrate({file}).messages, HasSubstr("structure cannot be judged"));
    writeHdf5(file, flats({1, 1, 1}));
    EXPECT_THAT(runWell({"inspect", file}).messages, HasSubstr("only level and duplicates are"));
    for (const char* const list : {"x", "3-1", "1,,2", "-1", "1-"})
        expectRefusal(runOmbrel({"inspect", file, std::string("--exclude=") + list}), 2,
                      "not a list of frames");
    expectRefusal(runOmbrel({"inspect", file, "--only", "1,7"}), 2, "there is no frame 7");
    std::ofstream(folder / "flat.txt") << "2 4\n8 6\n";
    expectRefusal(calibrate({folder / "flat.txt", "--size", "2x2", "--only", "0"}), 2, "is not inspected");
}

TEST_F(Inspect, JudgesEachThicknessEachGridPointAndTheDarksAmongThemselves) {
    writeHdf5(folder / "open.h5", flats({2, 2, 2, 0, 2}));
    writeHdf5(folder / "half.h5", flats({1, 1, 0.4, 1, 1}, 2));
    const ProgramResult masks =
        runWell({"calibrate", "beam-hardening", "--mask", "0=" + folder / "open.h5", "--mask",
                 "1=" + folder / "half.h5", "--acq-time", "1", "-o", folder / "bh.xml"});
    EXPECT_THAT(linesWith(masks.messages, "left out"),
                ElementsAre(HasSubstr("open.h5, frame 3 left out: dark"),
                            HasSubstr("half.h5, frame 2 left out: level")));
    EXPECT_THAT(masks.messages, HasSubstr("2 masks of 8 of 10 frames"));

    std::ofstream(folder / "grid.csv") << "v,t,e,file\n1,1,1,open.h5\n2,1,1,half.h5\n";
    const ProgramResult grid =
        runWell({"calibrate", "adaptive", "--grid", folder / "grid.csv", "-q", "-o", folder / "a.xml"});
    EXPECT_EQ(linesWith(grid.messages, "left out").size(), 2u);

    {
        Hdf5Builder scan(folder / "scan.h5");
        const auto white = flats({1, 1, 1, 1, 1});
        const auto dark = flats({0.01, 0.01, 0.01, 0.01, 1});
        scan.data("/exchange/data_white", {5, flatSide, flatSide}, white.pixels);
        scan.data("/exchange/data_dark", {5, flatSide, flatSide}, dark.pixels);
        scan.data("/exchange/data", {5, flatSide, flatSide}, white.pixels);
    }
    EXPECT_THAT(linesWith(runWell({"inspect", folder / "scan.h5"}).messages, "left out"),
                ElementsAre(HasSubstr("/exchange/data_dark, frame 4 left out: level")));
}
