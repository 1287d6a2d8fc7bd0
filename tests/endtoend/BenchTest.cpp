#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <numeric>

namespace {

namespace fs = std::filesystem;

QJsonObject jsonOf(const ProgramResult& result) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).object();
}

class Bench : public ::testing::Test {
protected:
    ProgramResult bench(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "bench");
        return runOmbrel(arguments, {"TMPDIR=" + (folder / "tmp")});
    }

    static std::vector<double> figuresOf(const QJsonObject& json, const char* step) {
        const QJsonObject figures = json.value(step).toObject();
        return {figures.value("p50").toDouble(), figures.value("p99").toDouble(),
                figures.value("p99.9").toDouble()};
    }

    std::string writeInput() const {
        ImageStack<zt::u16> stack{16, 16, std::vector<zt::u16>(16 * 16 * 12)};
        std::iota(stack.pixels.begin(), stack.pixels.end(), zt::u16{1});
        writeHdf5(folder / "input.h5", stack);
        return folder / "input.h5";
    }

    const TemporaryFolder folder;
    const bool hasTemporary = fs::create_directory(folder / "tmp");
};

TEST_F(Bench, MeasuresSimulatedFramesWithoutAnInput) {
    const ProgramResult result = bench({"--json", "--size", "32x24", "--rounds", "2", "-j", "2"});
    ASSERT_EQ(result.exitCode, 0) << result.messages;
    const QJsonObject json = jsonOf(result);
    EXPECT_EQ(json.value("chain"), "Flat-Field");
    EXPECT_EQ(json.value("width"), 32);
    EXPECT_EQ(json.value("height"), 24);
    EXPECT_EQ(json.value("frames"), 100);
    EXPECT_EQ(json.value("jobs"), 2);
    EXPECT_EQ(json.value("round_seconds").toArray().size(), 2);
    EXPECT_GT(json.value("frames_per_second").toDouble(), 0);
    EXPECT_GE(json.value("peak_bytes").toDouble(), json.value("loaded_bytes").toDouble());
    for (const char* step : {"read_seconds", "filter_seconds", "write_seconds", "way_seconds"}) {
        const std::vector<double> figures = figuresOf(json, step);
        EXPECT_GT(figures.front(), 0) << step;
        EXPECT_TRUE(std::ranges::is_sorted(figures)) << step;
    }
    EXPECT_TRUE(fs::is_empty(folder / "tmp"));
}

TEST_F(Bench, ChangesNoFileOfTheUser) {
    const std::string input = writeInput();
    const std::string before = fileText(input);
    const ProgramResult result =
        bench({"-f", "Binning 2x2", "--frames", "2:9", "--rounds", "1", "--folder", folder / "tmp", input});
    ASSERT_EQ(result.exitCode, 0) << result.messages;
    EXPECT_THAT(result.output, AllOf(HasSubstr("Binning 2x2 on 7 frames of 16 x 16 u16 to f32"),
                                     HasSubstr("p99.9"), HasSubstr("way"), HasSubstr("at most")));
    EXPECT_EQ(fileText(input), before);
    EXPECT_TRUE(fs::is_empty(folder / "tmp"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / ""), {}), 2);
}

TEST_F(Bench, SaysWhatItLacks) {
    const std::string input = writeInput();
    expectRefusal(bench({input}), 2, "INPUT needs a filter");
    expectRefusal(bench({"-f", "Binning 2x2", "--size", "8x8", input}), 2, "INPUT excludes --size");
    expectRefusal(bench({"-f", "Binning 2x2", "--frames", "5:50", input}), 2, "frames");
    expectRefusal(bench({"-f", "Flat-Field", input}), 1, "frame 0: Flat-Field: ");
    EXPECT_TRUE(fs::is_empty(folder / "tmp"));
}

} // namespace
