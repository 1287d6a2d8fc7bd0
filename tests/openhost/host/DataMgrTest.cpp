#include "host/DataMgr.h"

#include "fixtures/FrameFiles.h"
#include "host/Device.h"
#include "zt/DataBuff.h"
#include "zt/FrameHolder.h"

using namespace ombrel;

namespace {

class DataMgrTest : public testing::Test {
protected:
    // Writes frames of 2 x 1 pixels that hold these numbers.
    std::string fileOf(const std::string& name, std::vector<zt::u16> numbers) {
        ImageStack<zt::u16> stack{2, 1, {}};
        for (const zt::u16 number : numbers)
            stack.pixels.insert(stack.pixels.end(), 2, number);
        writeTiff(folder / name, stack);
        return folder / name;
    }

    // The first pixel of a frame, -1 when there is no frame.
    int loaded(const std::string& path, zt::u32 index) {
        const FramePtr frame(static_cast<Frame*>(data.loadFrame(path.c_str(), index)));
        return frame ? frame->pixels<zt::u16>()[0] : -1;
    }

    static std::size_t openTimes(const std::string& path) {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            count += std::filesystem::read_symlink(entry, gone) == std::filesystem::canonical(path);
        }
        return count;
    }

    TemporaryFolder folder;
    DataMgr data;
};

} // namespace

TEST_F(DataMgrTest, KeepsTheLastFileOpenAndSeesThatItWasWrittenAgain) {
    const std::string path = fileOf("a.tif", {10, 11, 12});
    EXPECT_TRUE(data.isFrameFile(path.c_str()));
    EXPECT_EQ(data.frameCountInFile(path.c_str()), 3u);
    EXPECT_EQ(loaded(path, 2), 12);
    EXPECT_EQ(loaded(path, 0), 10);
    EXPECT_GT(openTimes(path), 0u);
    fileOf("a.tif", {20, 21});
    EXPECT_EQ(loaded(path, 1), 21);
    EXPECT_EQ(data.frameCountInFile(path.c_str()), 2u);
    data.closeFile();
    EXPECT_EQ(openTimes(path), 0u);
}

TEST_F(DataMgrTest, ANameRefersToAFrameAtHand) {
    FramePtr ready = Frame::create(2, 1, zt::DT_U16);
    ready->pixels<zt::u16>()[0] = 33;
    data.defineFrame("sum", std::move(ready));
    EXPECT_EQ(data.frameCountInFile("sum"), 1u);
    zt::FrameHolder(data.loadFrame("sum", 0))->clear(); // what it got is its own
    EXPECT_EQ(loaded("sum", 0), 33);
    EXPECT_EQ(loaded("sum", 1), -1);
    EXPECT_EQ(data.takeError(), "sum: frame 1 does not exist; it holds 1");
    data.undefine("sum");
    EXPECT_FALSE(data.isFrameFile("sum"));
}

TEST_F(DataMgrTest, FailuresAreNullAndTellTheReasonOnce) {
    const std::string path = fileOf("a.tif", {10});
    std::vector<std::string> reported;
    data.reportErrors([&](const std::string& reason) { reported.push_back(reason); });
    EXPECT_EQ(loaded(path, 1), -1);
    EXPECT_THAT(reported, ElementsAre(HasSubstr("frame 1 does not exist; it holds 1")));
    EXPECT_THAT(data.takeError(), HasSubstr("frame 1 does not exist; it holds 1"));
    EXPECT_EQ(data.takeError(), "");
    const std::string text = folder / "matrix%s%n.txt";
    writeFileText(text, "1 2\n3 4\n");
    EXPECT_FALSE(data.isFrameFile(text.c_str()));
    EXPECT_EQ(data.frameCountInFile(text.c_str()), 0u);
    EXPECT_THAT(data.takeError(), HasSubstr(text));
    EXPECT_EQ(loaded("", 0), -1);
    EXPECT_EQ(data.loadFrame(nullptr, 0), nullptr);
    EXPECT_EQ(data.createFrame(0xffffffff, 0xffffffff, zt::DT_DOUBLE), nullptr);
    EXPECT_EQ(data.createFrame(2, 2, zt::DT_STRING), nullptr);
    EXPECT_NE(data.takeError(), "");
    EXPECT_EQ(zt::FrameHolder(data.createFrame(2, 3, zt::DT_FLOAT))->size(), 6u);
}

TEST(Device, KeepsAcquiredFramesAndAPixelMask) {
    const std::size_t alive = Frame::aliveCount();
    {
        Device device(1, 3, 2);
        EXPECT_EQ(device.lastAcqFrame(), nullptr);
        std::vector<FramePtr> frames;
        for (int i = 0; i < 2; ++i)
            frames.push_back(Frame::create(3, 2, zt::DT_U16));
        frames[1]->setAcqTime(9);
        device.setAcquisition(std::move(frames));
        zt::IMpxFrame* const first = device.acqFrame(0);
        first->release();
        device.setAcquisition({});
        EXPECT_EQ(first->width(), 3u); // outlives its release and the next acquisition
        EXPECT_EQ(device.acqFrameCount(), 0);
        EXPECT_EQ(device.acqFrame(0), nullptr);
        EXPECT_EQ(Frame::aliveCount(), alive + 2);

        zt::DataBuff<unsigned char> mask;
        device.pixelCfg()->maskData(&mask, 0);
        EXPECT_THAT(std::vector(mask.data(), mask.data() + mask.size()), ElementsAre(1, 1, 1, 1, 1, 1));
        const std::vector<zt::u8> masked{1, 0, 1, 1, 1, 0};
        device.pixels().setMask(masked);
        device.pixelCfg()->maskData(&mask, 0);
        EXPECT_EQ(std::vector(mask.data(), mask.data() + mask.size()), masked);
        EXPECT_THROW(device.pixels().setMask(std::span(masked).first(5)), std::invalid_argument);
    }
    EXPECT_EQ(Frame::aliveCount(), alive);
    EXPECT_THROW(Device(1, 65536, 65536), std::length_error);
}
