#include "frame/Frame.h"

#include "fixtures/Testing.h"
#include "frame/FramePool.h"
#include "frame/PixelType.h"
#include "zt/DataBuff.h"

#include <numeric>
#include <random>
#include <thread>

using namespace ombrel;

namespace {

template <typename T>
FramePtr frameOf(zt::u8 type, std::vector<T> values) {
    FramePtr frame = Frame::create(static_cast<zt::u32>(values.size()), 1, type);
    std::ranges::copy(values, frame->pixels<T>().begin());
    return frame;
}

// The elements after the pixels.
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

// The pixels end where the array ends, which the sanitizers watch.
TEST(Frame, ReadsLentPixelsInPlaceAndNeverChangesThem) {
    for (zt::u8 type = 0; type <= zt::DT_DOUBLE; ++type)
        withPixelType(type, [&](auto pixel) {
            using T = decltype(pixel);
            const std::vector<T> before = {1, 2, 3, 4, 5, 6};
            const std::vector<T> pixels = before;
            const FramePtr lent = Frame::lend(3, 2, type, std::as_bytes(std::span(pixels)).data());
            zt::RefDataBuff<T> look;
            lent->refData(&look, 0.0);
            EXPECT_EQ(look.data(), pixels.data());

            const FramePtr clone(static_cast<Frame*>(lent->clone()));
            clone->zeroRoom();
            clone->convertToType(zt::DT_DOUBLE);
            clone->refData(&look, 0.0);
            clone->multiplyBy(2);
            EXPECT_THAT(clone->pixels<double>(), ElementsAre(2, 4, 6, 8, 10, 12));
            EXPECT_THAT(roomOf<double>(*clone), Each(0.0));
            lent->multiplyBy(3);
            EXPECT_EQ(lent->pixels<T>().front(), T{3});
            EXPECT_THAT(roomOf<T>(*lent), Each(T{0}));
            EXPECT_EQ(pixels, before);
        });
    const std::vector<double> pixels = {1, 2};
    const FramePtr kept = Frame::lend(2, 1, zt::DT_DOUBLE, std::as_bytes(std::span(pixels)).data());
    kept->makeOwn();
    EXPECT_NE(kept->doubleData(0), pixels.data());
}

TEST(Frame, StoresDoublesInOfferedMemoryOnce) {
    const std::vector<zt::u16> pixels = {1, 2, 3, 4, 5, 6, 7, 8};
    const auto* const bytes = std::as_bytes(std::span(pixels)).data();
    std::vector<double> memory(10, -1); // one more at each end
    const FramePtr lent = Frame::lend(4, 2, zt::DT_U16, bytes);
    lent->offer(memory.data() + 1);
    const auto cloneOf = [](const FramePtr& frame) { return FramePtr(static_cast<Frame*>(frame->clone())); };
    const FramePtr first = cloneOf(lent);
    const FramePtr second = cloneOf(lent);
    for (const FramePtr* const frame : {&first, &second})
        (*frame)->convertToType(zt::DT_DOUBLE);
    first->multiplyBy(2);
    first->zeroRoom();
    EXPECT_THAT(memory, ElementsAre(-1, 2, 4, 6, 8, 10, 12, 14, 16, -1));
    EXPECT_EQ(first->doubleData(0), memory.data() + 1);
    const FramePtr third = cloneOf(first);
    third->multiplyBy(2);
    EXPECT_THAT(third->pixels<double>().front(), 4);
    EXPECT_THAT(roomOf<double>(*third), Each(0.0));
    EXPECT_THAT(second->pixels<double>().front(), 1);

    const FramePtr odd = Frame::lend(1, 2, zt::DT_U16, bytes); // filters may write after its pixels
    odd->offer(memory.data() + 1);
    odd->subtract(std::vector<double>{1, 1});
    EXPECT_THAT(odd->pixels<double>(), ElementsAre(0, 1));
    EXPECT_THAT(roomOf<double>(*odd), Each(0.0));
    EXPECT_EQ(memory[1], 2);
}

TEST(Frame, ChangesWithoutItsClone) {
    const std::vector<double> before = {1, 2, 3};
    const auto cloneOf = [](const FramePtr& frame) { return FramePtr(static_cast<Frame*>(frame->clone())); };
    const FramePtr frame = frameOf(zt::DT_DOUBLE, before);
    const FramePtr first = cloneOf(frame);
    first->multiplyBy(2);
    EXPECT_THAT(frame->pixels<double>(), ElementsAreArray(before));
    const FramePtr second = cloneOf(frame);
    frame->pixels<double>()[0] = 9;
    EXPECT_THAT(second->pixels<double>(), ElementsAreArray(before));
    // An address that was handed out earlier.
    double* const pixels = second->doubleData(0.0);
    const FramePtr third = cloneOf(second);
    pixels[1] = 9;
    EXPECT_THAT(third->pixels<double>(), ElementsAreArray(before));
    EXPECT_THAT(second->pixels<double>(), ElementsAre(1, 9, 3));
    EXPECT_THAT(first->pixels<double>(), ElementsAre(2, 4, 6));
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
TEST(FrameDeathTest, DestroyingAFrameThatIsReferencedEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const FramePtr held = Frame::create(2, 2, zt::DT_U8);
    held->addRef();
    EXPECT_DEATH(held->destroy(), "references == 1");
    held->release();
}
#endif

namespace {

// The definition, in a type that holds every pixel of every type exactly.
template <typename To>
To plainConversion(long double value) {
    static_assert(std::numeric_limits<long double>::digits >= 64);
    if constexpr (std::is_floating_point_v<To>)
        return static_cast<To>(value);
    if (std::isnan(value))
        return 0;
    const long double rounded = std::nearbyint(value);
    if (rounded < static_cast<long double>(std::numeric_limits<To>::lowest()))
        return std::numeric_limits<To>::lowest();
    if (rounded > static_cast<long double>(std::numeric_limits<To>::max()))
        return std::numeric_limits<To>::max();
    return static_cast<To>(rounded);
}

// Everything at which a conversion can go wrong: the ends of all ranges, halves, what double can't hold, NaN.
std::vector<long double> hostileValues() {
    std::vector<long double> values{
        0.0L,    -0.0L,  0.5L,  1.5L,    2.5L,   -0.5L,   -1.5L,    0.49999999999999994L,
        5e-324L, 1e-40L, 1e38L, 3.5e38L, 1e300L, -1e300L, INFINITY, -INFINITY,
        NAN,     -NAN};
    for (const int bits : {7, 8, 15, 16, 24, 31, 32, 51, 52, 53, 63, 64})
        for (const long double offset : {-1.5L, -1.0L, -0.5L, 0.0L, 0.5L, 1.0L, 1.5L})
            for (const long double sign : {1.0L, -1.0L})
                values.push_back(sign * (std::ldexp(1.0L, bits) + offset));
    std::mt19937_64 random(7);
    for (int i = 0; i < 200; ++i)
        values.push_back(std::ldexp(static_cast<long double>(static_cast<zt::i64>(random())), i % 70 - 60));
    return values;
}

template <typename From, typename To>
void expectPlainResults() {
    std::vector<From> from{From{}}; // so that the values that are converted do not begin at an aligned place
    for (const long double value : hostileValues())
        from.push_back(plainConversion<From>(value));
    const std::size_t count = from.size() - 1;
    std::vector<To> to(count);
    const auto code = [](auto type) {
        for (zt::u8 each = 0;; ++each)
            if (withPixelType(each,
                              [&](auto pixel) { return std::is_same_v<decltype(pixel), decltype(type)>; }))
                return each;
    };
    convertPixels(reinterpret_cast<const std::byte*>(&from[1]), code(From{}),
                  reinterpret_cast<std::byte*>(to.data()), code(To{}), count);
    for (std::size_t i = 0; i < count; ++i) {
        const To expected = plainConversion<To>(from[i + 1]);
        if (expected != expected)
            EXPECT_NE(to[i], to[i]);
        else
            EXPECT_EQ(to[i], expected) << "from " << +from[i + 1] << " of type "
                                       << pixelTypeName(code(From{})) << " to " << pixelTypeName(code(To{}));
    }
}

} // namespace

TEST(PixelConversion, EveryPairOfTypesFollowsTheDefinition) {
    for (zt::u8 from = 0; from <= zt::DT_DOUBLE; ++from)
        for (zt::u8 to = 0; to <= zt::DT_DOUBLE; ++to)
            withPixelType(
                from,
                [&](auto fromPixel) {
                    withPixelType(
                        to,
                        [](auto toPixel) { expectPlainResults<decltype(fromPixel), decltype(toPixel)>(); });
                });
}

TEST(FramePool, HandsOutABlockOfTheSameSizeAgain) {
    FramePool pool(10000);
    FramePool::Block block = pool.take(1000);
    const std::byte* const address = block.get();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(address) % 64, 0u);
    block.reset();
    EXPECT_EQ(pool.idleBytes(), 1000u);
    const FramePool::Block other = pool.take(999);
    EXPECT_NE(other.get(), address);
    EXPECT_EQ(pool.take(1000).get(), address);
}

TEST(FramePool, KeepsToItsBoundByLettingGoWhatIsIdleForLongest) {
    FramePool pool(2500);
    {
        const FramePool::Block a = pool.take(1000);
        const FramePool::Block b = pool.take(1001);
        const FramePool::Block c = pool.take(1002); // given back first, as the last that was made
    }
    EXPECT_EQ(pool.idleBytes(), 2001u);
    pool.take(5000).reset(); // above the bound by itself
    EXPECT_LE(pool.idleBytes(), 2500u);
}

TEST(FramePool, NeverHandsOutOneBlockTwiceAtATime) {
    FramePool pool(4000);
    const auto work = [&](std::byte mark) {
        for (int round = 0; round < 2000; ++round) {
            const FramePool::Block block = pool.take(500);
            std::fill_n(block.get(), 500, mark);
            std::this_thread::yield();
            ASSERT_EQ(std::count(block.get(), block.get() + 500, mark), 500);
        }
    };
    std::vector<std::jthread> threads;
    for (int i = 1; i <= 4; ++i)
        threads.emplace_back(work, std::byte(i));
}
