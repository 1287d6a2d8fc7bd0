// Outputs made again from their records, and parts put together.

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

#include <cstring>
#include <random>

namespace {

namespace fs = std::filesystem;

// Frames, flat fields, and settings made of these, beside outputs that are made with them.
class Replay : public ::testing::Test {
protected:
    Replay() {
        std::mt19937 random(5);
        ImageStack<zt::u16> stack{16, 16, std::vector<zt::u16>(10 * 256)};
        for (zt::u16& pixel : stack.pixels)
            pixel = static_cast<zt::u16>(500 + random() % 100);
        writeHdf5(frames, stack);
        stack.pixels.resize(3 * 256);
        writeTiff(folder / "flats.tif", stack);
        runWell({"calibrate", "flat-field", folder / "flats.tif", "-o", settings});
    }

    ProgramResult run(const std::string& name, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"run", "-q", "-f", "Flat-Field=" + settings, frames, "-o", folder / name});
        return runOmbrel(more);
    }
    ProgramResult replay(const std::string& name, const std::string& again) const {
        return runOmbrel({"replay", "-q", folder / name, "-o", folder / again, "--force"});
    }

    const TemporaryFolder folder;
    const std::string frames = folder / "frames.h5";
    const std::string settings = folder / "ff.xml";
};

TEST_F(Replay, GivesTheSameFramesThoughTheSettingsAreGone) {
    for (const char* name : {"out.h5", "out.tif"}) {
        ASSERT_EQ(run(name, {"--output-type", "f64", "--frames", "2:9", "--replace"}).exitCode, 0);
        const std::string kept = fileText(settings);
        fs::remove(settings);
        const auto result = replay(name, "again.h5");
        EXPECT_EQ(result.exitCode, 0) << result.messages;
        EXPECT_THAT(result.messages, HasSubstr("7 frames are the same"));
        EXPECT_EQ(readAllFrames(folder / "again.h5"), readAllFrames(folder / name));
        writeFileText(settings, kept);
    }
}

TEST_F(Replay, NamesWhatHasChanged) {
    ASSERT_EQ(run("out.h5").exitCode, 0);
    // A pixel of frame 4 in the output.
    const std::vector<double> before = readAllFrames(folder / "out.h5");
    std::string bytes = fileText(folder / "out.h5");
    const auto pixel = static_cast<float>(before[4 * 256 + 7]);
    const std::string wanted(reinterpret_cast<const char*>(&pixel), sizeof pixel);
    const auto next = static_cast<float>(before[4 * 256 + 8]);
    const std::size_t place = bytes.find(wanted + std::string(reinterpret_cast<const char*>(&next), 4));
    ASSERT_NE(place, std::string::npos);
    bytes[place] = static_cast<char>(bytes[place] ^ 1);
    writeFileText(folder / "out.h5", bytes);
    expectRefusal(replay("out.h5", "again.h5"), 1,
                  "frame 4 is the first that differs: its stored pixels have changed");
    expectRefusal(runOmbrel({"pack", folder / "out.h5", "-o", folder / "none.h5"}), 1,
                  "frame 4: its stored pixels have changed");

    ImageStack<zt::u16> other{16, 16, std::vector<zt::u16>(9 * 256, 7)};
    writeHdf5(frames, other);
    expectRefusal(replay("out.h5", "none.h5"), 1, "files have changed: " + frames + ": it has ");
    EXPECT_FALSE(fs::exists(folder / "none.h5"));
}

TEST_F(Replay, PartsAreOneOutputWhereverTheyAreMovedTogether) {
    ASSERT_EQ(run("whole.h5").exitCode, 0);
    fs::create_directory(folder / "parts");
    for (const char* range : {"0:3", "3:4", "4:10"})
        ASSERT_EQ(run(std::string("parts/") + range[0] + ".h5", {"--frames", range}).exitCode, 0);
    const auto part = [&](const char* name) { return folder / (std::string("parts/") + name + ".h5"); };
    const auto merged = runWell({"merge", part("4"), part("0"), part("3"), "-o", folder / "merged.h5"});
    fs::create_directory(folder / "moved");
    fs::rename(folder / "merged.h5", folder / "moved/merged.h5");
    fs::rename(folder / "parts", folder / "moved/parts");
    EXPECT_EQ(readAllFrames(folder / "moved/merged.h5"), readAllFrames(folder / "whole.h5"));
    EXPECT_THAT(replay("moved/merged.h5", "again.h5").messages, HasSubstr("10 frames are the same"));
    expectRefusal(runOmbrel({"run", "-f", "Binning 2x2", folder / "moved/merged.h5", "-o",
                             folder / "moved/parts/3.h5", "--force"}),
                  1, "a source of an input");

    fs::rename(folder / "moved/parts/3.h5", folder / "3.h5");
    const std::string whole = folder / "moved/merged.h5";
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"info", whole},
          {"replay", whole, "-o", folder / "third.h5"},
          {"run", "-f", "Binning 2x2", whole, "-o", folder / "third.h5"},
          {"calibrate", "flat-field", whole, "-o", folder / "third.xml"}})
        expectRefusal(runOmbrel(command), 1, "its source parts/3.h5 is missing");
    fs::copy(folder / "moved/parts/0.h5", folder / "moved/parts/3.h5");
    expectRefusal(runOmbrel({"info", folder / "moved/merged.h5"}), 1, "has changed since the merge");
}

TEST_F(Replay, PartsThatDoNotFitAreRefused) {
    ASSERT_EQ(run("a.h5", {"--frames", "0:3"}).exitCode, 0);
    ASSERT_EQ(run("b.h5", {"--frames", "2:5"}).exitCode, 0);
    ASSERT_EQ(run("c.h5", {"--frames", "6:10"}).exitCode, 0);
    ASSERT_EQ(run("d.h5", {"--frames", "3:6", "--output-type", "f64"}).exitCode, 0);
    for (const auto& [one, other, words] : {std::tuple("a.h5", "b.h5", "hold the same frames"),
                                            {"c.h5", "a.h5", "frames are missing between"},
                                            {"a.h5", "d.h5", "output type: f64 now, f32 before"},
                                            {"a.h5", "frames.h5", "was not written by ombrel"}}) {
        expectRefusal(runOmbrel({"merge", folder / one, folder / other, "-o", folder / "whole.h5"}), 1,
                      words);
        EXPECT_FALSE(fs::exists(folder / "whole.h5"));
    }
}

TEST_F(Replay, OfSixteenBitsIsTheSame) {
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{"u16", "--scale", "480,560"}, {"f16"}})
        for (const char* name : {"out.h5", "out.tif"}) {
            std::vector<std::string> options{"--force", "--output-type"};
            options.insert(options.end(), more.begin(), more.end());
            const auto result = run(name, options);
            ASSERT_EQ(result.exitCode, 0) << result.messages;
            EXPECT_EQ(result.messages.find("clipped") != std::string::npos, more.size() > 1);
            const auto [low, high] = more.size() > 1 ? std::pair(480, 560) : std::pair(400, 700);
            EXPECT_THAT(readAllFrames(folder / name), Each(AllOf(testing::Ge(low), testing::Le(high))));
            EXPECT_THAT(replay(name, "again.tif").messages, HasSubstr("10 frames are the same"));
        }
    expectRefusal(run("no.h5", {"--output-type", "u16"}), 2, "needs --scale LO,HI");
    expectRefusal(run("no.h5", {"--scale", "0,1"}), 2, "goes with --output-type u16 or f16");
    expectRefusal(run("no.h5", {"--output-type", "u16", "--scale", "3,1"}), 2, "LO must be below HI");
    expectRefusal(run("no.h5", {"--output-type", "u16", "--scale", "3"}), 2, "--scale");
    EXPECT_FALSE(fs::exists(folder / "no.h5"));
}

TEST_F(Replay, APackedOutputHoldsTheSame) {
    for (const char* range : {"0:4", "4:10"})
        ASSERT_EQ(run(std::string(range, 1) + ".nxs", {"--frames", range}).exitCode, 0);
    runWell({"merge", folder / "0.nxs", folder / "4.nxs", "-o", folder / "whole.nxs"});
    const auto pack = [&](const std::string& from, const std::string& to, const std::string& how) {
        return runOmbrel({"pack", "-q", folder / from, "-o", folder / to, "--compress", how});
    };
    for (const char* how : {"deflate", "lz4", "bitshuffle"}) {
        const std::string name = std::string(how) + ".nxs";
        const auto result = pack("whole.nxs", name, how);
        if (result.messages.find("is not installed") != std::string::npos && how[0] != 'd')
            continue; // the filters of packages that ombrel recommends
        ASSERT_EQ(result.exitCode, 0) << result.messages;
        EXPECT_EQ(readAllFrames(folder / name), readAllFrames(folder / "whole.nxs"));
        EXPECT_EQ(readAllFrames(folder / name + "::/entry/data/data").size(), 2560U);
        EXPECT_THAT(replay(name, "again.h5").messages, HasSubstr("10 frames are the same"));
        EXPECT_THAT(runWell({"info", folder / name}).output,
                    HasSubstr("10 of 10 frames done, 0 failed, complete"));
    }
    ASSERT_EQ(pack("4.nxs", "4-packed.h5", "deflate").exitCode, 0);
    runWell({"merge", folder / "0.nxs", folder / "4-packed.h5", "-o", folder / "mixed.h5"});
    EXPECT_EQ(readAllFrames(folder / "mixed.h5"), readAllFrames(folder / "whole.nxs"));

    expectRefusal(run("4-packed.h5", {"--frames", "4:10", "--resume"}), 1, "was written by ombrel pack");
    expectRefusal(pack("frames.h5", "no.h5", "deflate"), 1, "was not written by ombrel");
    expectRefusal(pack("flats.tif", "no.h5", "deflate"), 1, "is not an HDF5 output");
    expectRefusal(pack("0.nxs", "no.tif", "deflate"), 2, "must end in .h5, .hdf5 or .nxs");
    expectRefusal(pack("0.nxs", "no.h5", "zip"), 2, "--compress");
    expectRefusal(pack("0.nxs", "4.nxs", "deflate"), 1, "exists; give --force");
    EXPECT_FALSE(fs::exists(folder / "no.h5"));
}

// A record may come from anyone: what no run can have written ends with a line.
TEST_F(Replay, RefusesRecordsThatNoRunWrites) {
    ASSERT_EQ(run("out.tif", {"-p", "Flat-Field:Version=1"}).exitCode, 2);
    ASSERT_EQ(run("out.tif").exitCode, 0);
    const std::string path = folder / "out.tif.ombrel.json";
    const std::string before = fileText(path);
    for (const auto& [text, edited, words] :
         {std::tuple("\"datasets\":[\"\"]", "\"datasets\":[]", "0 datasets for 1 inputs"),
          {"\"begin\":0", "\"begin\":10", "its frames are 10:10"},
          {"\"end\":10", "\"end\":11", "the inputs hold frames 0 to 9"},
          {"\"end\":10", "\"end\":-1", "\"end\" is not a whole number"},
          {"\"device_type\":1", "\"device_type\":99", "unknown filter"},
          {"\"device_type\":1", "\"device_type\":1e99", "\"device_type\" is not a whole number"},
          {"\"filter\":\"Flat-Field\"", "\"filter\":\"Flat-Field=x\"", "a filter has no name"},
          {"\"params\":[]", "\"params\":[\"Flat-Field\"]", "not of the form"},
          {"\"settings\":[", "\"nothing\":[", "does not contain the settings"},
          {"\"inputs\":[{", "\"inputs\":[{\"path\":\"/dev/zero\"},{", "datasets for 2 inputs"}}) {
        std::string record = before;
        const std::size_t place = record.find(text);
        ASSERT_NE(place, std::string::npos) << text;
        writeFileText(path, record.replace(place, std::strlen(text), edited));
        expectRefusal(replay("out.tif", "again.h5"), 1, words);
        EXPECT_FALSE(fs::exists(folder / "again.h5")) << edited;
    }
}

TEST_F(Replay, RefusesDamagedRecordsInHdf5) {
    ASSERT_EQ(run("out.h5").exitCode, 0);
    const std::string good = fileText(folder / "out.h5");
    const hid_t texts = H5Tcopy(H5T_C_S1);
    H5Tset_size(texts, H5T_VARIABLE);
    const auto replace = [&](const char* name, hid_t type, hsize_t count) {
        writeFileText(folder / "out.h5", good);
        const hid_t file = H5Fopen((folder / "out.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
        H5Ldelete(file, name, H5P_DEFAULT);
        const hid_t space = H5Screate_simple(1, &count, nullptr);
        H5Dclose(H5Dcreate2(file, name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
        H5Sclose(space);
        H5Fclose(file);
        return replay("out.h5", "again.h5");
    };
    const std::string record = "/process/ombrel/record";
    const std::string first = "/process/ombrel/settings/0";
    for (const hsize_t count : {0, 1, 1000})
        expectRefusal(replace(record.c_str(), texts, count), 1, record + " is damaged");
    expectRefusal(replace(first.c_str(), H5T_NATIVE_UINT8, hsize_t{1} << 40), 1, first + ": it claims");
    expectRefusal(replace(first.c_str(), H5T_NATIVE_UINT8, 100), 1, "out.h5, settings of Flat-Field:1:");
    EXPECT_FALSE(fs::exists(folder / "again.h5"));
    H5Tclose(texts);
}

} // namespace
