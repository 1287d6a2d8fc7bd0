// What goes wrong: one clear line, the right exit code, nothing left behind that looks whole.

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;

// A name that would be read as a format somewhere down the line.
constexpr const char* nastyName = "100%s%n%d";

class BadInput : public ::testing::Test {
protected:
    void SetUp() override {
        writeTiff(good, stack);
        writeHdf5(goodHdf5, stack);
    }

    static ProgramResult runOn(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "run");
        return runOmbrel(arguments);
    }

    // A run of that filter into `output`.
    ProgramResult binning(std::vector<std::string> more) const {
        more.insert(more.begin(), {"run", "-f", "Binning 2x2", "-o", output});
        return runOmbrel(more);
    }

    // One line that holds the words, the exit code, and no output.
    void expectRefusal(const ProgramResult& result, int exitCode, const std::vector<std::string>& words) {
        EXPECT_EQ(result.exitCode, exitCode) << result.messages;
        EXPECT_EQ(std::ranges::count(result.messages, '\n'), 1) << result.messages;
        EXPECT_THAT(result.messages, StartsWith("ombrel: "));
        for (const std::string& word : words)
            EXPECT_THAT(result.messages, HasSubstr(word));
        EXPECT_EQ(result.output, "");
        EXPECT_FALSE(fs::exists(output)) << result.messages;
    }

    const TemporaryFolder folder;
    const ImageStack<zt::u16> stack{6, 4, std::vector<zt::u16>(6 * 4 * 3, 5)};
    const std::string good = folder / "good.tif";
    const std::string goodHdf5 = folder / "good.h5";
    const std::string output = folder / "out.h5";
};

} // namespace

// The cause of each is tested where it is found; here is what the user sees of it.
TEST_F(BadInput, AnErrorIsOneLineAndAnExitCode) {
    writeTiff(folder / "other.tif", ImageStack<zt::u16>{5, 4, std::vector<zt::u16>(20)});
    expectRefusal(binning({folder / "missing.tif"}), 1, {"missing.tif: ", "No such file"});
    expectRefusal(binning({goodHdf5 + "::/no/such"}), 1, {"good.h5", "/no/such"});
    expectRefusal(binning({good, folder / "other.tif"}), 1, {"good.tif", "other.tif", "6 x 4", "5 x 4"});
    expectRefusal(binning({good, "--device-mask", folder / "other.tif"}), 1, {"other.tif", "6 x 4", "5 x 4"});
    expectRefusal(binning({good, "--plugin", folder / "none.so"}), 1, {"none.so"});
    expectRefusal(binning({good, "-p", "Binning 2x2:Version=2"}), 2, {"Version", "read-only"});
    expectRefusal(runOn({"-f", "Binning 2x2", good, "-o", "/proc/out.h5"}), 1, {"/proc/out.h5"});
}

TEST_F(BadInput, WrongCommandLines) {
    expectRefusal(runOn({"-f", "Sharpen", good, "-o", output}), 2, {"\"Sharpen\"", "\"Binning 2x2\""});
    expectRefusal(runOn({"-f", nastyName, good, "-o", output}), 2, {nastyName});
    expectRefusal(binning({good, "--sharpen"}), 2, {"--sharpen"});
    expectRefusal(runOn({"-f", "Binning 2x2", "-o", output}), 2, {"INPUT"});
    expectRefusal(runOn({"-f", "Binning 2x2", good}), 2, {"--output"});
    expectRefusal(runOn({"-f", "Binning 2x2", good, "-o", folder / "out.png"}), 2, {"out.png", ".h5"});
    for (const char* range : {"2", "1:1", "2:1", "x:2", "0:4", "3:", "-1:2"})
        expectRefusal(binning({good, "--frames", range}), 2, {"--frames"});
    for (const auto& [option, number] :
         {std::pair("--acq-time", "nan"), {"--acq-time", "0"}, {"--jobs", "1025"}, {"--device-type", ""}})
        expectRefusal(binning({good, option, number}), 2,
                      {std::string(option) + ": \"" + number + "\" is not a"});
    for (const char* option : {"--report", "--preview", "--device-mask", "--log", "--frames"})
        expectRefusal(binning({good, option, ""}), 2, {std::string(option) + ": its value is empty"});
    for (const char* size : {"", "6", "0x4", "6x70000"}) {
        expectRefusal(runOmbrel({"configure", "Flat-Field", "--settings", output, "--size", size}), 2,
                      {"--size"});
        expectRefusal(runOmbrel({"calibrate", "flat-field", good, "-o", output, "--size", size}), 2,
                      {"--size"});
    }
    EXPECT_EQ(runOmbrel({"sharpen"}).exitCode, 2);
    EXPECT_EQ(runOmbrel({}).exitCode, 2);
    runWell({"--help"});
}

TEST_F(BadInput, AnOutputThatExistsIsKept) {
    std::ofstream(output) << "precious";
    const auto refused = binning({good});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.messages, AllOf(HasSubstr(output), HasSubstr("--force")));
    EXPECT_EQ(fs::file_size(output), 8u);
    EXPECT_EQ(binning({good, "--force"}).exitCode, 0);
    EXPECT_EQ(runOn({"-f", "Binning 2x2", good, "-o", good, "--force"}).exitCode, 2);
    EXPECT_EQ(readAllFrames(good), std::vector<double>(6 * 4 * 3, 5));
}

// A limit on the size of files stands for a disk that is full: writes fail in the same way.
TEST_F(BadInput, NoRoomForTheOutput) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 4096;
    writeHdf5(goodHdf5, ImageStack<zt::u16>{60, 40, std::vector<zt::u16>(60 * 40 * 3)});
    setrlimit(RLIMIT_FSIZE, &small);
    const auto hdf5 = runOn({"-f", "Binning 2x2", goodHdf5, "-o", output});
    const auto tiff = runOn({"-f", "Binning 2x2", goodHdf5, "-o", folder / "out.tif"});
    setrlimit(RLIMIT_FSIZE, &before);
    expectRefusal(hdf5, 1, {"out.h5", "no room on the disk for its "}); // taken beforehand
    EXPECT_EQ(tiff.exitCode, 1) << tiff.messages;
    EXPECT_THAT(tiff.messages, HasSubstr("out.tif"));
    for (const auto& entry : fs::directory_iterator(folder.path))
        EXPECT_THAT(entry.path().filename().string(), ::testing::AnyOf("good.tif", "good.h5"));
}

TEST_F(BadInput, PathsThatReadAsFormatsWorkEverywhere) {
    fs::create_directory(folder / nastyName);
    const std::string base = folder / (std::string(nastyName) + "/");
    writeTiff(base + nastyName + ".tif", stack);
    const auto result = runOn({"-f", "Binning 2x2", base + nastyName + ".tif", "-o", base + nastyName + ".h5",
                               "--log", base + nastyName + ".log", "--preview", base + nastyName});
    EXPECT_EQ(result.exitCode, 0) << result.messages;
    EXPECT_THAT(result.messages, EndsWith(base + nastyName + ".h5\n"));
    EXPECT_TRUE(fs::exists(base + nastyName + ".log"));
}
