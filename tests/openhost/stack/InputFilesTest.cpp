#include "stack/InputFiles.h"

#include "fixtures/FrameFiles.h"
#include "fixtures/Hdf5Builder.h"
#include "fixtures/Messages.h"
#include "stack/FrameStack.h"

#include <sys/resource.h>
#include <sys/stat.h>

using ombrel::FrameFile;
using ombrel::FrameRole;
using ombrel::FrameStack;

namespace {

class InputFilesTest : public ::testing::Test {
protected:
    void frame(const std::string& name, zt::u8 value) const {
        writeTiff<zt::u8>(folder / name, {1, 1, {value}});
    }

    static void writePackedTiff(const std::string& path, const std::vector<zt::u8>& values) {
        TIFF* const tiff = TIFFOpen(path.c_str(), "w");
        for (zt::u8 value : values) {
            setTiffFields(tiff, 1, 1, 8, SAMPLEFORMAT_UINT);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
            TIFFWriteEncodedStrip(tiff, 0, &value, 1);
            TIFFWriteDirectory(tiff);
        }
        TIFFClose(tiff);
    }

    static std::vector<double> valuesOf(FrameStack& stack) {
        std::vector<double> values;
        for (zt::u64 i = 0; i < stack.frameCount(); ++i)
            values.push_back(stack.readFrame(i)->pixels<zt::u8>()[0]);
        return values;
    }

    static std::string refusalOf(const std::string& input) {
        return errorOf([&] { FrameStack({input}, FrameRole::Sample); });
    }

    const TemporaryFolder folder;
};

} // namespace

TEST(ComesBefore, ComparesDigitsAsNumbers) {
    const std::vector<std::string> sorted{
        "a", "img_2", "img_02", "img_10", "img_10b", "img_18446744073709551616", "imgs"};
    std::vector<std::string> names = sorted;
    std::ranges::reverse(names);
    std::ranges::sort(names, ombrel::comesBefore);
    EXPECT_EQ(names, (std::vector<std::string>{"a", "img_02", "img_2", "img_10", "img_10b",
                                               "img_18446744073709551616", "imgs"}));
}

TEST_F(InputFilesTest, AFolderIsOneInputInNaturalOrder) {
    frame("img_10.tif", 10);
    frame("img_2.tif", 2);
    frame("img_1.tif", 1);
    writeFileText(folder / "scan.log", "a log");
    writeFileText(folder / ".hidden", "");
    mkfifo((folder / "pipe").c_str(), 0600);
    std::filesystem::create_directory(folder / "more");
    const std::string path = folder.path.string();
    FrameStack stack({path}, FrameRole::Sample);
    EXPECT_THAT(valuesOf(stack), ElementsAre(1, 2, 10));
    EXPECT_EQ(stack.passedOver(), path + ": passed over 3 other files: more, pipe, scan.log");
    EXPECT_EQ(stack.where(2), folder / "img_10.tif, frame 0");
    FrameStack pattern({folder / "img_?.tif"}, FrameRole::Sample);
    EXPECT_THAT(valuesOf(pattern), ElementsAre(1, 2));
    EXPECT_EQ(pattern.passedOver(), "");

    const auto whole = FrameFile::open(path);
    EXPECT_EQ(whole->info().format, "TIFF, 3 files");
    EXPECT_EQ(whole->info().frames, 3U);
    EXPECT_EQ(whole->readFrame(2)->pixels<zt::u8>()[0], 10);
    EXPECT_TRUE(FrameFile::looksLikeFrames(path));
    EXPECT_EQ(FrameFile::sourcesOf(path).size(), 3U);
}

TEST_F(InputFilesTest, RefusesFoldersThatAreNotOneStack) {
    const std::string path = folder.path.string();
    EXPECT_THAT(refusalOf(path), HasSubstr("holds no frame files"));
    EXPECT_THAT(refusalOf(folder / "*.tif"), HasSubstr("matches no file"));
    frame("img_1.tif", 1);
    writeFileText(folder / "img_2.tif", "");
    EXPECT_THAT(refusalOf(path), AllOf(HasSubstr("img_2.tif"), HasSubstr("not a frame file")));
    writeTiff<zt::u8>(folder / "img_2.tif", {2, 1, {1, 2}});
    EXPECT_THAT(refusalOf(path), HasSubstr("differ in size"));
    writeHdf5<zt::u8>(folder / "img_2.tif", {1, 1, {2}});
    EXPECT_THAT(refusalOf(path), HasSubstr("several formats"));
}

TEST_F(InputFilesTest, PassesOverOutputsAndDataFilesOfMasters) {
    for (int i = 1; i <= 2; ++i)
        Hdf5Builder(folder / ("x_data_" + std::to_string(i) + ".h5")).images("/entry/data/data", 2, 7);
    {
        Hdf5Builder master(folder / "x_master.h5");
        master.externalLink("/entry/data/data_000001", "x_data_1.h5", "/entry/data/data");
        master.externalLink("/entry/data/data_000002", "x_data_2.h5", "/entry/data/data");
    }
    const auto output = ombrel::FrameOutput::create(outputOf(folder / "out.h5", 2, 2, 1));
    append(*output, {1, 2, 3, 4});
    output->finish();
    FrameStack stack({folder.path.string()}, FrameRole::Sample);
    EXPECT_EQ(stack.frameCount(), 4U);
    EXPECT_THAT(stack.passedOver(), EndsWith("3 other files: out.h5, x_data_1.h5, x_data_2.h5"));
}

TEST_F(InputFilesTest, KnowsWhatIsReadInAnyOrder) {
    const auto inAnyOrder = [&](const std::string& name) {
        return FrameStack({folder / name}, FrameRole::Sample).readsInAnyOrder();
    };
    writeHdf5<zt::u8>(folder / "plain.h5", {1, 1, {1, 2}});
    EXPECT_TRUE(inAnyOrder("plain.h5"));
    std::filesystem::create_directory(folder / "series");
    for (const zt::u8 value : {1, 2})
        writePackedTiff(folder / "series/img_" + std::to_string(value) + ".tif", {value});
    EXPECT_TRUE(inAnyOrder("series"));
    writePackedTiff(folder / "series/img_3.tif", {3, 4});
    EXPECT_FALSE(inAnyOrder("series"));
}

// Only the files that were read last are open, whatever the limit of the system.
TEST_F(InputFilesTest, ManyFilesNeedFewDescriptors) {
    constexpr int files = 100;
    for (int i = 0; i < files; ++i)
        frame("img_" + std::to_string(i) + ".tif", static_cast<zt::u8>(i));
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit low = before;
    low.rlim_cur = 60;
    setrlimit(RLIMIT_NOFILE, &low);
    FrameStack stack({folder.path.string()}, FrameRole::Sample);
    const std::vector<double> values = valuesOf(stack);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(values.size(), std::size_t{files});
    EXPECT_TRUE(std::ranges::is_sorted(values));
    writeTiff<zt::u8>(folder / "img_3.tif", {2, 1, {1, 2}});
    EXPECT_THAT(errorOf([&] { stack.readFrame(3); }), HasSubstr("has changed"));
}

// The files of a series are alike: the first one selects the dataset, and the others are not searched.
TEST_F(InputFilesTest, TheFirstFileOfASeriesSelectsTheDataset) {
    for (int i = 1; i <= 3; ++i) {
        Hdf5Builder file(folder / "x_" + std::to_string(i) + ".h5");
        const std::string place = i == 3 ? "/moved/frames" : "/scan/frames";
        file.images(place, 2, static_cast<zt::u16>(i));
        file.data<double>("/scan/count_time", {2}, {i + 0.25, i + 0.5});
        if (i == 1)
            file.data<zt::u8>("/scan/image_key", {2}, {0, 0});
        if (i == 2) {
            file.images("/other", 2, 7); // alone, this file would be ambiguous
            file.data<zt::u8>("/scan/image_key", {2}, {1, 0});
        }
        if (i == 3)
            file.softLink("/scan/frames", place);
    }
    ombrel::OutputPlan plan = outputOf(folder / "x_out.nxs", 2, 2, 1);
    const auto output = ombrel::FrameOutput::create(plan);
    append(*output, {1, 2, 3, 4});
    output->finish();
    FrameStack stack({folder.path.string()}, FrameRole::Sample);
    EXPECT_THAT(stack.passedOver(), EndsWith("1 other file: x_out.nxs"));
    std::vector<double> values;
    std::vector<double> times;
    for (zt::u64 frame = 0; frame < stack.frameCount(); ++frame) {
        values.push_back(stack.readFrame(frame)->pixels<zt::u16>()[0]);
        times.push_back(stack.acqTime(frame));
    }
    EXPECT_THAT(values, ElementsAre(1, 1, 2, 3, 3));
    EXPECT_THAT(times, ElementsAre(1.25, 1.5, 2.5, 3.25, 3.5));
}
