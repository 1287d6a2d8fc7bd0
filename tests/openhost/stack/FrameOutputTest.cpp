#include "frame/FrameOutput.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "fixtures/FrameFiles.h"
#include "frame/FrameFile.h"
#include "frame/PixelType.h"

#include <thread>

using ombrel::Error;
using ombrel::FrameFile;
using ombrel::FrameOutput;
using ombrel::OutputPlan;
using ::testing::ThrowsMessage;

namespace {

namespace fs = std::filesystem;

// All tests hold for both formats; the parameter is the ending.
class FrameOutputOf : public ::testing::TestWithParam<const char*> {
protected:
    static constexpr zt::u32 width = 33;
    static constexpr zt::u32 height = 17;
    static constexpr std::size_t size = std::size_t{width} * height;

    static bool isHdf5() { return std::string(GetParam()) == ".h5"; }

    OutputPlan plan(zt::u64 frames, zt::u8 pixelType = zt::DT_FLOAT) const {
        return outputOf(path, width, height, frames, pixelType);
    }

    // The pixels of a frame, each one different, and different from those of other frames.
    static std::vector<double> pixelsOf(zt::u64 frame) {
        std::vector<double> pixels(size);
        for (std::size_t index = 0; index < size; ++index)
            pixels[index] = static_cast<double>(frame * 1000 + index);
        return pixels;
    }

    const TemporaryFolder folder;
    const std::string path = folder / (std::string("100%s%n") + GetParam());
};

} // namespace

TEST_P(FrameOutputOf, KeepsPixelsAsTheyAreStored) {
    using Limits = std::numeric_limits<double>;
    const std::vector<double> hostile{0.1,
                                      -0.0,
                                      1e300,
                                      -1e300,
                                      1e-42,
                                      INFINITY,
                                      Limits::denorm_min(),
                                      1.0 / 3,
                                      std::numeric_limits<float>::max()};
    for (const zt::u8 type : {zt::DT_FLOAT, zt::DT_DOUBLE}) {
        const auto output = FrameOutput::create(outputOf(path, 3, 3, 2, type));
        appendFailed(*output, "no light");
        append(*output, hostile, type);
        output->finish();
        const auto file = FrameFile::open(path);
        ASSERT_EQ(file->info().pixelType, type);
        const auto failed = file->readFrame(0);
        const auto read = file->readFrame(1);
        ombrel::withPixelType(type, [&](auto pixel) {
            using T = decltype(pixel);
            for (std::size_t index = 0; index < hostile.size(); ++index) {
                EXPECT_EQ(read->pixels<T>()[index], static_cast<T>(hostile[index]));
                EXPECT_TRUE(std::isnan(static_cast<double>(failed->pixels<T>()[index])));
            }
        });
    }
}

TEST_P(FrameOutputOf, IsNoFileWithoutAFrame) {
    FrameOutput::create(plan(5)).reset();
    EXPECT_TRUE(fs::is_empty(folder.path));
}

// More frames than the first level of the library's table of chunks holds.
TEST_P(FrameOutputOf, FindsThePlaceOfEachOfManyFrames) {
    constexpr zt::u32 frames = 6000;
    const auto output = FrameOutput::create(outputOf(path, 2, 1, frames));
    for (zt::u32 frame = 0; frame < frames; ++frame)
        append(*output, std::vector<double>{static_cast<double>(frame), -1});
    output->finish();
    const std::vector<double> pixels = readAllFrames(path);
    ASSERT_EQ(pixels.size(), 2U * frames);
    for (zt::u32 frame = 0; frame < frames; ++frame)
        ASSERT_EQ(pixels[2 * frame], frame);
}

// What is written into a file without a name is lost, so the run ends at once.
TEST_P(FrameOutputOf, IsNotWrittenOnOnceItIsGone) {
    const std::string other = folder / "other";
    const auto expectNoticed = [&](const std::string& removed, auto remove) {
        const auto output = FrameOutput::create(plan(3));
        append(*output, pixelsOf(0));
        remove();
        EXPECT_THAT([&] { append(*output, pixelsOf(1)); },
                    ThrowsMessage<Error>(HasSubstr(removed + ": was removed or replaced")));
        EXPECT_THROW(output->finish(), Error);
    };
    expectNoticed(path, [&] { fs::remove(path); });
    expectNoticed(path, [&] {
        writeFileText(other, "words");
        fs::rename(other, path);
    });
    EXPECT_EQ(fileText(path), "words");
    if (!isHdf5())
        expectNoticed(path + ".ombrel.json", [&] { fs::remove(path + ".ombrel.json"); });
    const std::string moved = folder.path.string() + ".moved";
    expectNoticed(path, [&] { fs::rename(folder.path, moved); });
    fs::rename(moved, folder.path);
}

// Pages whose pixels are not those of their rows, and a record of another run.
TEST(TiffOutput, CountsTheFramesThatItsRecordIsOf) {
    const TemporaryFolder folder;
    const std::string path = folder / "out.tif";
    const auto write = [&](double level) {
        const OutputPlan plan = outputOf(path, 2, 1, 3);
        const auto output = FrameOutput::create(plan);
        for (double frame = 0; frame < 3; ++frame) {
            const std::vector<float> pixels(2, static_cast<float>(level + frame));
            ombrel::FrameRow row;
            row.outputHash = ombrel::pixelHash(std::as_bytes(std::span(pixels)));
            output->append(std::as_bytes(std::span(pixels)), row);
        }
        output->finish();
        return plan.record;
    };
    const std::string record = write(1000.25);
    EXPECT_EQ(FrameOutput::stateToResume(path, record)->framesDone, 3U);
    std::string bytes = fileText(path);
    const float second = 1001.25;
    bytes[bytes.find(std::string(reinterpret_cast<const char*>(&second), sizeof second))] ^= 1;
    writeFileText(path, bytes);
    const auto damaged = FrameOutput::stateToResume(path, record);
    EXPECT_EQ(damaged->framesDone, 1U);
    EXPECT_EQ(damaged->rows.size(), 1U);
    EXPECT_FALSE(damaged->complete);

    const std::string recordPath = path + ".ombrel.json";
    const std::string earlier = fileText(recordPath);
    write(1000.25);
    writeFileText(recordPath, earlier);
    EXPECT_THROW(FrameOutput::stateOf(path), Error);
    EXPECT_FALSE(FrameOutput::stateToResume(path, record)) << "it starts again";
    EXPECT_THROW(FrameOutput::stateToResume(path, "of another run"), Error);
    fs::resize_file(recordPath, zt::u64{1} << 40); // none of it on the disk
    EXPECT_THROW(FrameOutput::stateOf(path), Error);
}

TEST(OutputLock, IsOnePerOutputWhetherThereIsAFileOrNot) {
    const TemporaryFolder folder;
    fs::create_symlink("out.h5", folder / "link.h5");
    {
        const ombrel::OutputLock lock(folder / "out.h5", false);
        EXPECT_THROW(ombrel::OutputLock(folder / "link.h5", true), Error);
        writeFileText(folder / "new", "words");
        fs::rename(folder / "new", folder / "out.h5");
        EXPECT_THROW(ombrel::OutputLock(folder / "out.h5", true), Error);
        EXPECT_NO_THROW(ombrel::OutputLock(folder / "other.h5", true));
    }
    writeFileText(folder / ".out.h5.lock", ""); // left by a killed program
    EXPECT_THROW(ombrel::OutputLock(folder / "out.h5", false), Error) << "another has made it";
    EXPECT_NO_THROW(ombrel::OutputLock(folder / "out.h5", true));
    EXPECT_FALSE(fs::exists(folder / ".out.h5.lock"));
    EXPECT_THROW(ombrel::OutputLock(folder / "no/such/out.h5", true), Error);
}

TEST_P(FrameOutputOf, IsResumedAfterItsFrames) {
    const std::string settings = folder / "ff.xml";
    writeFileText(settings, std::string("any \0 bytes \xff", 13));
    OutputPlan begun = plan(5);
    begun.settingsFiles = {settings, settings};
    ombrel::FrameRow row;
    row.inputHash = 0x8000000000000001;
    row.outputHash = 0xfedcba9876543210;
    row.input = {1.5, 0.25, 3, 4};
    row.output = {-2, std::nan(""), 0, 1};
    row.seconds = 0.125;
    row.choice = ombrel::SelectedFlatField{{1, 2, 3, 4.5}, {5, 6, 7, 4.5}, true};
    {
        const auto output = FrameOutput::create(begun);
        appendFailed(*output, "no light");
        append(*output, pixelsOf(1), zt::DT_FLOAT, row);
        EXPECT_THROW(FrameOutput::stateOf(path), Error) << "it is being written";
        EXPECT_THROW(FrameOutput::create(begun), Error);
    }
    auto state = FrameOutput::stateOf(path);
    ASSERT_TRUE(state);
    EXPECT_EQ(state->framesDone, 2U);
    EXPECT_FALSE(state->complete);
    EXPECT_THAT(state->plan.record, HasSubstr("test"));
    ASSERT_EQ(state->rows.size(), 2U);
    EXPECT_TRUE(state->rows[0].failed);
    EXPECT_EQ(state->rows[0].reason, "no light");
    EXPECT_TRUE(ombrel::toJson(state->rows[1]) == ombrel::toJson(row));
    EXPECT_TRUE(std::isnan(state->rows[1].output.spread));
    EXPECT_EQ(FrameOutput::settingsIn(path, 1), fileText(settings));

    {
        const auto output = FrameOutput::resume(*state);
        for (const zt::u64 frame : {2U, 3U, 4U})
            append(*output, pixelsOf(frame), zt::DT_FLOAT, row);
        output->finish();
    }
    state = FrameOutput::stateOf(path);
    EXPECT_TRUE(state->complete);
    EXPECT_EQ(state->rows.size(), 5U);
    EXPECT_EQ(state->rows[4].outputHash, row.outputHash);
    const std::vector<double> all = readAllFrames(path);
    ASSERT_EQ(all.size(), 5 * size);
    EXPECT_TRUE(std::isnan(all[0]));
    EXPECT_EQ(all[4 * size + 7], pixelsOf(4)[7]);
}

TEST_P(FrameOutputOf, OfOthersIsRefused) {
    EXPECT_FALSE(FrameOutput::stateOf(path));
    const ImageStack<float> stack{2, 1, {1, 2}};
    isHdf5() ? writeHdf5(path, stack) : writeTiff(path, stack);
    EXPECT_THROW(FrameOutput::stateOf(path), Error);
    writeFileText(path, "words");
    EXPECT_THROW(FrameOutput::stateOf(path), Error);
}

TEST_P(FrameOutputOf, StoresSixteenBits) {
    using ombrel::PixelPacking;
    const std::vector<double> values{-1, 0, 0.125, 2.999, 3, NAN};
    for (const PixelPacking& packing : {PixelPacking::between(-1, 3, false),
                                        PixelPacking::between(-1, 3, true), PixelPacking::plainHalf()}) {
        OutputPlan plan = outputOf(path, 3, 2, 3, zt::DT_U16);
        plan.packing = packing;
        std::vector<zt::u16> stored(values.size());
        ombrel::FrameRow row;
        row.clipped = 5;
        packing.pack(values, stored);
        row.outputHash = ombrel::pixelHash(std::as_bytes(std::span(stored)));
        FrameOutput::create(plan)->append(std::as_bytes(std::span(stored)), row);
        const auto state = FrameOutput::stateToResume(path, plan.record);
        ASSERT_TRUE(state && state->framesDone == 1);
        auto output = FrameOutput::resume(*state);
        appendFailed(*output, "broken");
        output->append(std::as_bytes(std::span(stored)), row);
        output->finish();
        output.reset();

        EXPECT_EQ(FrameOutput::stateOf(path)->rows[2].clipped, 5U);
        const std::vector<double> read = readAllFrames(path);
        for (std::size_t i = 0; i < 5; ++i)
            EXPECT_NEAR(read[12 + i], values[i], 0.002);
        for (std::size_t i = 5; i < 12; ++i) // the last pixel of a frame, and a failed one
            EXPECT_TRUE(std::isnan(read[i])) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, FrameOutputOf, ::testing::Values(".h5", ".tif"),
                         [](const auto& ending) { return std::string(ending.param + 1); });

TEST(FrameOutput, IsChosenByTheEnding) {
    for (const char* path : {"a.h5", "b/a.hdf5", "a.nxs", "a.tif", "a.TIFF"})
        EXPECT_TRUE(FrameOutput::isOutputPath(path)) << path;
    for (const char* path : {"a", "h5", ".h5", "a.h5.png", "tif", ""})
        EXPECT_FALSE(FrameOutput::isOutputPath(path)) << path;
    EXPECT_THROW(FrameOutput::create(outputOf("a.png", 1, 1, 1)), Error);
}

// The HDF5 library may not be made for several threads, or has settings for each: reading goes on in one
// while an output is made in another, and none prints.
TEST(FrameOutput, IsMadeWhileFramesAreRead) {
    const TemporaryFolder folder;
    writeHdf5<zt::u16>(folder / "in.h5", {2, 2, std::vector<zt::u16>(400, 3)});
    writeHdf5<zt::u16>(folder / "damaged.h5", {2, 2, std::vector<zt::u16>(400, 3)});
    fs::resize_file(folder / "damaged.h5", 1000);
    ::testing::internal::CaptureStderr();
    std::thread reader([&] {
        for (int round = 0; round < 30; ++round) {
            EXPECT_EQ(readAllFrames(folder / "in.h5").size(), 400U);
            EXPECT_THROW(FrameFile::open(folder / "damaged.h5"), Error);
        }
    });
    for (int round = 0; round < 30; ++round) {
        const auto output = FrameOutput::create(outputOf(folder / "out.h5", 2, 2, 1));
        append(*output, std::vector<double>(4, round));
    }
    reader.join();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(readAllFrames(folder / "out.h5"), std::vector<double>(4, 29));
}
