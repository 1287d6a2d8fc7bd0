// Masks of bad pixels: found, written, read again, and used.
#include "fixtures/FrameFiles.h"
#include "fixtures/Hdf5Builder.h"
#include "fixtures/Program.h"
#include "frame/FrameOutput.h"
#include "frame/PixelFaults.h"
#include "stack/PixelMask.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fstream>

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
                 folder / "mask.TXT", "--picture", folder / "mask.png", "-q"});
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

    EXPECT_EQ(ombrel::readPixelMask(folder / "mask.TXT", "", 128, 128).faults, found.faults);
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
    writeTiff(folder / "even.tif", ImageStack<zt::u16>{8, 8, std::vector<zt::u16>(64, 50)});
    std::vector<float> offset(64, 1);
    offset[27] = NAN;
    writeTiff(folder / "offset.tif", ImageStack<float>{8, 8, offset});
    runWell({"calibrate", "bad-pixels", folder / "even.tif", "--dark", folder / "offset.tif", "-o", mask});
    const auto even = ombrel::readPixelMask(mask, "", 8, 8);
    EXPECT_EQ(even.faults[27], fault::notFinite);
    EXPECT_EQ(even.masked(), 1u);
    std::filesystem::remove(mask);
    writeTiff(folder / "dark.tif", ImageStack<zt::u16>{2, 2, {50, 50, 51, 50, 1, 1, 0, 1, 49, 50, 51, 52}});
    expectRefusal(calibrate(folder / "dark.tif"), 1, "dark.tif, frame 1: its level is 2 % of the median");
    writeTiff(folder / "faint.tif", ImageStack<zt::u16>{2, 2, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}});
    expectRefusal(calibrate(folder / "faint.tif"), 1, "too few counts to compare their levels");
    writeTiff(folder / "black.tif", ImageStack<zt::u16>{2, 2, {0, 0, 0, 0}});
    expectRefusal(calibrate(folder / "black.tif"), 1, "no pixel counts in any of the flat fields");
    EXPECT_FALSE(std::filesystem::exists(mask));
    expectRefusal(runOmbrel({"calibrate", "bad-pixels", folder / "one.tif", "-o", folder / "mask.png"}), 2,
                  "must end in");
}

namespace {

// 4 x 3 frames of 5, with a mask of their own.
class DeviceMask : public ::testing::Test {
protected:
    std::string scanWith(const std::string& name, const std::vector<zt::u32>& mask,
                         const std::string& place = "/entry/instrument/detector/pixel_mask") const {
        const std::string path = folder / name;
        Hdf5Builder file(path);
        file.data<zt::u16>("/entry/instrument/detector/data", {2, 3, 4}, std::vector<zt::u16>(24, 5));
        file.attribute("/entry/instrument/detector", "NX_class", "NXdetector");
        file.data<zt::u32>(place, {3, 4}, mask);
        return path;
    }

    ProgramResult run(const std::string& input, std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"run", "-q", "--force", "-f", "Binning 2x2", input, "-o", output});
        return runOmbrel(options);
    }

    std::vector<zt::u32> touched() const { return ombrel::FrameOutput::touchedIn(output); }

    const TemporaryFolder folder;
    const std::string output = folder / "out.h5";
    const std::vector<zt::u32> oneDead{2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    // Binning spreads a fault over its block.
    const std::vector<zt::u32> deadBlock{2, 2, 0, 0, 2, 2, 0, 0, 0, 0, 0, 0};
};

} // namespace

TEST_F(DeviceMask, IsTheOneNextToTheFramesUnlessAnotherIsGiven) {
    const std::string scan = scanWith("scan.h5", oneDead);
    EXPECT_THAT(run(scan).messages, HasSubstr("using the mask next to the frames, " + scan +
                                              "::/entry/instrument/detector/pixel_mask: 1 pixel masked"));
    EXPECT_EQ(touched(), deadBlock);
    EXPECT_THAT(runOmbrel({"info", output}).output, HasSubstr("touched       4 pixels (dead 4)"));
    EXPECT_EQ(runOmbrel({"replay", output, "-o", folder / "again.h5"}).exitCode, 0);
    EXPECT_EQ(ombrel::FrameOutput::touchedIn(folder / "again.h5"), deadBlock);

    EXPECT_THAT(run(scan, {"--device-mask", "none"}).messages, Not(HasSubstr("mask")));
    EXPECT_EQ(touched(), std::vector<zt::u32>(12));
    const std::string special =
        scanWith("special.h5", oneDead, "/entry/instrument/detector/detectorSpecific/pixel_mask");
    EXPECT_EQ(run(special).exitCode, 0);
    EXPECT_EQ(touched(), deadBlock);
    writeTiff(folder / "plain.tif", ImageStack<zt::u8>{4, 3, {1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1}});
    EXPECT_EQ(run(scan, {"--device-mask", folder / "plain.tif"}).exitCode, 0);
    EXPECT_EQ(touched()[8], fault::masked);
    EXPECT_EQ(touched()[0], 0u);
}

TEST_F(DeviceMask, ReadsEachKindByItsConvention) {
    const std::string path = folder / "mask.h5";
    std::vector<zt::u8> mostlyTrue(12, 1);
    mostlyTrue[3] = 0;
    const auto write = [&](const char* name) {
        Hdf5Builder file(path);
        const hid_t boolean = H5Tenum_create(H5T_STD_I8LE);
        const signed char values[] = {0, 1};
        H5Tenum_insert(boolean, "FALSE", &values[0]);
        H5Tenum_insert(boolean, "TRUE", &values[1]);
        file.typed(name, {3, 4}, boolean, mostlyTrue.data());
        H5Tclose(boolean);
    };
    const auto maskedAt = [&](const std::string& file, const std::string& convention = "") {
        const auto bytes = ombrel::readPixelMask(file, convention, 4, 3).deviceBytes();
        std::vector<int> masked;
        for (int i = 0; i < 12; ++i)
            if (bytes[static_cast<std::size_t>(i)] == 0)
                masked.push_back(i);
        return masked;
    };
    write("/mask");
    EXPECT_THAT(maskedAt(path), ElementsAre(3));
    EXPECT_EQ(maskedAt(path, "nexus").size(), 11u);
    write("/bad_pixel_mask");
    EXPECT_EQ(maskedAt(path).size(), 11u);
    EXPECT_THAT(maskedAt(path, "ones-good"), ElementsAre(3));

    std::ofstream(folder / "bad.json")
        << R"({"Bad pixels": [{"Pixel": [1, 2], "Set": 0}, {"Pixel": [3, 0]}]})";
    EXPECT_THAT(maskedAt(folder / "bad.json"), ElementsAre(3, 9));
    writeTiff(folder / "plain.tif", ImageStack<float>{4, 3, {1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1}});
    EXPECT_THAT(maskedAt(folder / "plain.tif"), ElementsAre(8));
}

TEST_F(DeviceMask, IsRefusedInOneLineIfItCannotBeMeant) {
    const std::string good = scanWith("scan.h5", oneDead);
    const auto refuse = [&](const std::string& mask, const std::string& words) {
        const ProgramResult result = run(good, {"--device-mask", mask});
        expectRefusal(result, 1, words);
        EXPECT_EQ(std::ranges::count(result.messages, '\n'), 1) << result.messages;
    };
    writeTiff(folder / "wide.tif", ImageStack<zt::u8>{5, 3, std::vector<zt::u8>(15, 1)});
    writeTiff(folder / "most.tif", ImageStack<zt::u8>{4, 3, {0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1}});
    std::ofstream(folder / "outside.json") << R"({"Bad pixels": [{"Pixel": [4, 0]}]})";
    std::ofstream(folder / "broken.json") << R"({"Bad pixels": [)";
    std::ofstream(folder / "text.txt") << "not a mask";
    refuse(folder / "wide.tif", "the mask has 5 x 3 pixels, the frames have 4 x 3");
    refuse(folder / "most.tif", "masks 7 of 12 pixels, since 0 means masked in a plain image; give "
                                "--mask-convention nexus if 0 means good");
    refuse(folder / "outside.json", "pixel 4, 0 is outside the frames");
    refuse(folder / "broken.json", "is not a list of bad pixels");
    refuse(folder / "text.txt", "text.txt");
    refuse(folder / "missing.h5", "missing.h5");
    const auto chunked = [](hid_t creation) {
        const hsize_t chunk[] = {1024, 1024};
        H5Pset_chunk(creation, 2, chunk);
    };
    for (const char* name : {"/pixel_mask", "/plain"}) { // 16 GB, in a file of a few kilobytes
        Hdf5Builder(folder / "huge.h5").data<zt::u32>(name, {65535, 65535}, {}, chunked);
        refuse(folder / "huge.h5", "it claims 17.2 GB of values, but holds 0 bytes");
    }
    EXPECT_EQ(run(good, {"--device-mask", folder / "most.tif", "--mask-convention", "ones-good"}).exitCode,
              0);
    expectRefusal(run(scanWith("all.h5", std::vector<zt::u32>(12, 1))), 1, "masks all pixels");
    EXPECT_EQ(run(folder / "all.h5", {"--device-mask", "none"}).exitCode, 0);
}

TEST_F(DeviceMask, LeavesEqualMapsInThePartsOfARun) {
    const std::string scan = scanWith("scan.h5", oneDead);
    const auto part = [&](const std::string& frames, const std::string& file) {
        return runOmbrel(
            {"run", "-q", "-f", "Binning 2x2", scan, "--frames", frames, "-o", folder / file, "--force"});
    };
    ASSERT_EQ(part("0:1", "one.h5").exitCode, 0);
    ASSERT_EQ(part("1:2", "two.h5").exitCode, 0);
    runWell({"merge", folder / "one.h5", folder / "two.h5", "-o", folder / "both.h5"});
    EXPECT_EQ(ombrel::FrameOutput::touchedIn(folder / "both.h5"), deadBlock);
    const hid_t file = H5Fopen((folder / "two.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    const hid_t map = H5Dopen2(file, "/process/ombrel/touched", H5P_DEFAULT);
    std::vector<zt::u32> changed(12, 4);
    H5Dwrite(map, H5T_NATIVE_UINT32, H5S_ALL, H5S_ALL, H5P_DEFAULT, changed.data());
    H5Dclose(map);
    H5Fclose(file);
    expectRefusal(runOmbrel({"merge", folder / "one.h5", folder / "two.h5", "-o", folder / "no.h5"}), 1,
                  "its map of touched pixels differs");
}

TEST_F(DeviceMask, LeavesItsTraceWhereFlatFieldFillsIt) {
    const std::string scan = scanWith("scan.h5", oneDead);
    writeTiff(folder / "flats.tif", ImageStack<zt::u16>{4, 3, {5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 50}});
    const std::string settings = folder / "ff.xml";
    runWell({"calibrate", "flat-field", folder / "flats.tif", "--bad", "ff", "-o", settings});
    runWell({"run", "-q", "-f", "Flat-Field=" + settings, scan, "-o", folder / "filled.tif"});
    const auto map = ombrel::FrameOutput::touchedIn(folder / "filled.tif");
    EXPECT_EQ(ombrel::faultText(map[0]), "dead, filled");
    EXPECT_EQ(ombrel::faultText(map[11]), "over-responding, filled");
    EXPECT_EQ(ombrel::countFaulty(map), 2u);
}

TEST(FrameMarks, AreFilledBeforeTheChainAndCounted) {
    const TemporaryFolder folder;
    const std::string scan = folder / "scan.h5";
    std::vector<zt::u32> pixels(2 * 16, 10);
    pixels[5] = 0xFFFFFFFF;
    writeHdf5(scan, ImageStack<zt::u32>{4, 4, pixels});
    const std::string output = folder / "out.h5";
    const auto run = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"run", "-q", "--force", "-f", "Binning 2x2", scan, "-o", output});
        return runWell(options);
    };
    run({});
    EXPECT_THAT(readAllFrames(output), Each(40));
    const auto rows = ombrel::FrameOutput::stateOf(output)->rows;
    EXPECT_EQ(rows[0].marked, 1u);
    EXPECT_EQ(rows[1].marked, 0u);
    run({"--keep-nan"});
    EXPECT_TRUE(std::isnan(readAllFrames(output)[5]));
    EXPECT_EQ(readAllFrames(output)[4], 40);
    runWell({"replay", output, "-o", folder / "again.h5"});
    run({"--marks", "none"});
    EXPECT_GT(readAllFrames(output)[5], 4e9);

    writeTiff(folder / "frame.tif", ImageStack<zt::u16>{2, 2, {65535, 1, 2, 65535}});
    EXPECT_THAT(
        runWell({"run", "-q", "-f", "Binning 2x2", folder / "frame.tif", "-o", folder / "sum.h5"}).messages,
        HasSubstr("frame.tif, frame 0: 2 pixels have the greatest value of u16"));
}

// The note on saturated pixels reads frame 0 before the run does.
TEST(FrameMarks, LeaveAFrameThatCannotBeReadToTheRun) {
    const TemporaryFolder folder;
    const std::string scan = folder / "scan.h5";
    const std::vector<zt::u16> pixels{4711, 4711, 4711, 4711, 5, 5, 5, 5};
    Hdf5Builder(scan).data<zt::u16>("/exchange/data", {2, 2, 2}, pixels, [](hid_t creation) {
        const hsize_t chunk[] = {1, 2, 2};
        H5Pset_chunk(creation, 3, chunk);
        H5Pset_fletcher32(creation);
    });
    std::fstream file(scan, std::ios::in | std::ios::out | std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    file.seekp(static_cast<std::streamoff>(bytes.find("\x67\x12\x67\x12\x67\x12")));
    file.put('x');
    file.close();

    const std::string output = folder / "out.h5";
    EXPECT_EQ(runOmbrel({"run", "-q", "-f", "Binning 2x2", scan, "-o", output}).exitCode, 1);
    const auto rows = ombrel::FrameOutput::stateOf(output)->rows;
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_TRUE(rows[0].failed);
    EXPECT_FALSE(rows[1].failed);
}
