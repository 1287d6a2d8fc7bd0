#include "frame/FrameFile.h"

#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "frame/PixelType.h"
#include "stack/FrameStack.h"

#include <cstring>
#include <sys/stat.h>

using ombrel::Error;
using ombrel::FrameFile;
using ombrel::FrameRole;
using ombrel::FrameStack;

namespace {

constexpr const char* nastyName = "100%s%n%d";

template <typename T>
class FrameFileOfType : public ::testing::Test {
protected:
    // The ends of the range and what is near them, on two frames of 3 x 2.
    static ImageStack<T> hostileStack() {
        using Limits = std::numeric_limits<T>;
        return {3,
                2,
                {Limits::lowest(), Limits::max(), T{0}, T{1}, static_cast<T>(Limits::max() - 1),
                 Limits::min(), T{7}, T{8}, T{9}, T{10}, T{11}, T{12}}};
    }

    static void expectSame(const std::string& path, const ImageStack<T>& stack) {
        const auto file = FrameFile::open(path);
        ASSERT_EQ(file->info().width, 3U);
        ASSERT_EQ(file->info().height, 2U);
        ASSERT_EQ(file->info().frames, 2U);
        ASSERT_EQ(ombrel::pixelSize(file->info().pixelType), sizeof(T));
        for (zt::u32 frame : {1U, 0U}) {
            const ombrel::FramePtr read = file->readFrame(frame);
            ASSERT_EQ(read->frameDataType(), file->info().pixelType);
            EXPECT_EQ(std::memcmp(read->bytes().data(), stack.pixels.data() + 6 * frame, 6 * sizeof(T)), 0);
            EXPECT_EQ(read->frameName(), path + ", frame " + std::to_string(frame));
        }
    }

    const TemporaryFolder folder;
};

using PixelTypes =
    ::testing::Types<zt::i8, zt::u8, zt::i16, zt::u16, zt::i32, zt::u32, zt::i64, zt::u64, float, double>;
TYPED_TEST_SUITE(FrameFileOfType, PixelTypes);

TYPED_TEST(FrameFileOfType, ReadsTheBitsThatWereWritten) {
    const auto stack = this->hostileStack();
    writeTiff(this->folder / "stack", stack);
    this->expectSame(this->folder / "stack", stack);
    writeHdf5(this->folder / "stack", stack);
    this->expectSame(this->folder / "stack", stack);
}

class FrameFileRefusal : public ::testing::Test {
protected:
    // One line that begins with the path.
    static void expect(const std::string& path, const std::string& words) {
        const std::string error = errorOf([&] { FrameFile::open(path); });
        EXPECT_THAT(error, AllOf(StartsWith(path), HasSubstr(words), Not(HasSubstr("\n"))));
    }

    const TemporaryFolder folder;
};

} // namespace

TEST_F(FrameFileRefusal, TellsWhatIsNoFrameFile) {
    expect(folder / nastyName, "No such file");
    expect(folder.path.string(), "holds no frame files");
    writeFileText(folder / nastyName, "");
    expect(folder / nastyName, "is empty");
    writeFileText(folder / nastyName, "1 2 3\n4 5 6\n");
    expect(folder / nastyName, "is not a frame file (HDF5, TIFF, EDF or CBF)");
    mkfifo((folder / "pipe").c_str(), 0600);
    expect(folder / "pipe", "not a regular file");
}

TEST_F(FrameFileRefusal, OfDamagedFilesTellsTheLibrarysReason) {
    ::testing::internal::CaptureStderr();
    writeFileText(folder / nastyName, std::string("II\x2a\0\xff\xff\xff\x7f", 8));
    expect(folder / nastyName, "truncated or damaged: ");
    writeFileText(folder / nastyName, std::string("\x89HDF\r\n\x1a\n", 8) + std::string(100, '\0'));
    expect(folder / nastyName, "truncated or damaged: ");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

// Wherever a file is cut off, that is found when it is opened, not in the middle of a run.
TEST_F(FrameFileRefusal, FindsAnyCut) {
    const ImageStack<zt::u16> stack{5, 4, std::vector<zt::u16>(5 * 4 * 3, 7)};
    writeTiff(folder / "whole.tif", stack);
    writeHdf5(folder / "whole.h5", stack);
    for (const std::string& path : {folder / "whole.tif", folder / "whole.h5"}) {
        EXPECT_NO_THROW(FrameFile::open(path));
        for (auto size = std::filesystem::file_size(path); size-- > 0;) {
            std::filesystem::resize_file(path, size);
            ASSERT_THROW(FrameFile::open(path), Error) << path << " with " << size << " bytes";
        }
    }
}

TEST_F(FrameFileRefusal, LooksAtTheContentAlone) {
    writeTiff<zt::u8>(folder / "frames.h5", {1, 1, {3}});
    writeHdf5<zt::u8>(folder / "odd::name", {1, 1, {3}});
    writeFileText(folder / "words.tif", "words");
    EXPECT_EQ(FrameFile::open(folder / "frames.h5")->info().format, "TIFF");
    EXPECT_EQ(FrameFile::open(folder / "odd::name")->info().format, "HDF5");
    EXPECT_EQ(FrameFile::open(folder / "odd::name::exchange/data")->info().dataset, "/exchange/data");
    EXPECT_TRUE(FrameFile::looksLikeFrames(folder / "frames.h5"));
    EXPECT_TRUE(FrameFile::looksLikeFrames(folder / "odd::name::/exchange/data"));
    EXPECT_FALSE(FrameFile::looksLikeFrames(folder / "words.tif"));
    EXPECT_FALSE(FrameFile::looksLikeFrames(folder / "missing"));
    EXPECT_THROW(FrameFile::open(folder / "frames.h5::/exchange/data"), Error);
}

TEST(FrameStack, CountsFramesThroughAllFiles) {
    const TemporaryFolder folder;
    writeTiff<zt::u16>(folder / "one", {2, 1, {0, 0, 1, 1, 2, 2}});
    writeHdf5<float>(folder / "two", {2, 1, {3, 3}});
    writeTiff<zt::u8>(folder / "three", {2, 1, {4, 4, 5, 5}});
    FrameStack stack({folder / "one", folder / "two", folder / "three"}, FrameRole::Sample);
    ASSERT_EQ(stack.frameCount(), 6U);
    for (const zt::u64 index : {5U, 0U, 3U, 2U, 4U, 1U}) {
        const ombrel::FramePtr frame = stack.readFrame(index);
        frame->convertToType(zt::DT_DOUBLE);
        EXPECT_EQ(frame->pixels<double>()[1], static_cast<double>(index));
        EXPECT_EQ(frame->frameName(), stack.where(index));
    }
    EXPECT_EQ(stack.where(2), folder / "one" + ", frame 2");
    EXPECT_EQ(stack.where(3), folder / "two" + ", frame 0");
    EXPECT_EQ(stack.where(5), folder / "three" + ", frame 1");
}
