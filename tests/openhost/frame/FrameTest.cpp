#include "frame/Frame.h"

#include "fixtures/Testing.h"
#include "frame/PixelType.h"
#include "zt/DataBuff.h"

#include <numeric>

using namespace ombrel;

namespace {

template <typename T>
FramePtr frameOf(zt::u8 type, std::vector<T> values) {
    FramePtr frame = Frame::create(static_cast<zt::u32>(values.size()), 1, type);
    std::ranges::copy(values, frame->pixels<T>().begin());
    return frame;
}

// The elements behind the pixels.
template <typename T>
std::span<T> roomOf(Frame& frame) {
    return {frame.pixels<T>().data() + frame.size(), frame.width() + std::size_t{1}};
}

} // namespace

TEST(Frame, HasRoomForARowAndOneBehindThePixelsOfEveryType) {
    for (zt::u8 type = 0; type <= zt::DT_DOUBLE; ++type)
        withPixelType(
            type,
            [&](auto pixel) {
                using T = decltype(pixel);
                const FramePtr frame = Frame::create(33, 17, type);
                const auto fillRoom = [](Frame& each) { std::ranges::fill(roomOf<T>(each), T{3}); };
                fillRoom(*frame);
                const FramePtr copy(static_cast<Frame*>(frame->clone()));
                fillRoom(*copy);
                frame->convertToType(zt::DT_U8);
                frame->convertToType(type);
                fillRoom(*frame);
                EXPECT_THAT(frame->pixels<T>(), Each(T{0}));
                frame->pixels<T>().back() = T{5};
                frame->zeroRoom();
                EXPECT_THAT(roomOf<T>(*frame), Each(T{0}));
                EXPECT_EQ(frame->pixels<T>().back(), T{5});
            });
}

TEST(Frame, KeepsARoomOfZerosThroughCloneAndConversion) {
    { // leaves a block in the pool that is anything but zero
        const FramePtr dirty = Frame::create(5, 3, zt::DT_DOUBLE);
        std::ranges::fill(dirty->pixels<double>(), 7.0);
        std::ranges::fill(roomOf<double>(*dirty), 7.0);
    }
    const FramePtr frame = Frame::createUnfilled(5, 3, zt::DT_U16);
    const FramePtr copy(static_cast<Frame*>(frame->clone()));
    copy->convertToType(zt::DT_DOUBLE);
    EXPECT_THAT(roomOf<double>(*copy), Each(0.0));
}

TEST(Frame, SumsAreClampedAndTakeTheOtherFrameInAnyType) {
    const FramePtr bytes = frameOf<zt::u8>(zt::DT_U8, {250, 1, 100});
    bytes->addFrame(frameOf<double>(zt::DT_DOUBLE, {10, 1.5, -300}).get());
    EXPECT_THAT(bytes->pixels<zt::u8>(), ElementsAre(255, 3, 100));

    constexpr zt::i64 top = std::numeric_limits<zt::i64>::max(), bottom = std::numeric_limits<zt::i64>::min();
    const FramePtr wide = frameOf<zt::i64>(zt::DT_I64, {top, bottom, (1LL << 53) + 1});
    wide->addFrame(frameOf<zt::i16>(zt::DT_I16, {1, -1, 1}).get());
    EXPECT_THAT(wide->pixels<zt::i64>(), ElementsAre(top, bottom, (1LL << 53) + 2));

    const FramePtr large = Frame::create(100, 90, zt::DT_DOUBLE); // several pieces and a rest
    std::iota(large->pixels<double>().begin(), large->pixels<double>().end(), 0.0);
    large->addFrame(large.get());
    EXPECT_EQ(large->pixels<double>()[8999], 2 * 8999.0);

    EXPECT_THROW(bytes->addFrame(large.get()), std::invalid_argument);
}

TEST(Frame, ProductsAreRoundedAndClamped) {
    const FramePtr small = frameOf<zt::i16>(zt::DT_I16, {5, 7, 20000, -20000});
    small->multiplyBy(2.5);
    EXPECT_THAT(small->pixels<zt::i16>(), ElementsAre(12, 18, 32767, -32768));
    constexpr zt::u64 odd = (1ULL << 63) + 1;
    const FramePtr wide = frameOf<zt::u64>(zt::DT_U64, {odd, odd});
    wide->multiplyBy(1.0);
    EXPECT_THAT(wide->pixels<zt::u64>(), Each(odd));
}

TEST(Frame, HandsOutPixelsInTheThreeWaysOfTheContract) {
    const FramePtr frame = frameOf<zt::u32>(zt::DT_U32, {7, 4000000000, 9});
    zt::RefDataBuff<unsigned int> look;
    frame->refData(&look, 0.0);
    ASSERT_EQ(look.size(), 3u);
    look.data()[0] = 8;

    zt::DataBuff<unsigned char> copy;
    frame->getData(&copy, zt::DT_I16);
    ASSERT_EQ(copy.size(), 6u);
    EXPECT_THAT(std::span(reinterpret_cast<const zt::i16*>(copy.data()), 3), ElementsAre(8, 32767, 9));

    EXPECT_THROW(frame->doubleData(0.0), std::logic_error);
    EXPECT_FALSE(frame->convertedToDouble());
    frame->convertToType(zt::DT_DOUBLE);
    EXPECT_TRUE(frame->convertedToDouble());
    EXPECT_EQ(frame->doubleData(0.0)[1], 4e9);
    frame->forgetConversion();
    frame->convertToType(zt::DT_DOUBLE); // asked for counts, whether or not it changes anything
    EXPECT_TRUE(frame->convertedToDouble());
}

TEST(Frame, LivesAsLongAsItIsHeld) {
    const std::size_t before = Frame::aliveCount();
    FramePtr frame = Frame::create(2, 2, zt::DT_U8);
    frame->addSubFrame(Frame::create(2, 2, zt::DT_U8));
    zt::IMpxFrame* const second = frame.get();
    second->addRef();
    frame.reset();
    EXPECT_EQ(Frame::aliveCount(), before + 2);
    zt::IData* const copy = second->clone();
    second->release();
    EXPECT_EQ(Frame::aliveCount(), before + 2);
    copy->destroy();
    EXPECT_EQ(Frame::aliveCount(), before);
}

#ifndef NDEBUG
TEST(FrameDeathTest, MisuseOfReferencesEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Frame* const dead = Frame::create(2, 2, zt::DT_U8).release();
    dead->release();
    EXPECT_DEATH(dead->release(), "release of a dead frame");
    EXPECT_DEATH(dead->addRef(), "addRef of a dead frame");
    const FramePtr held = Frame::create(2, 2, zt::DT_U8);
    held->addRef();
    EXPECT_DEATH(held->destroy(), "destroy of a frame with 2 references");
    held->release();
}
#endif
