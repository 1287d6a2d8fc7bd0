#include "stack/FrameStack.h"

#include "fixtures/FrameFiles.h"

using ombrel::FrameRole;
using ombrel::FrameStack;

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
