#include "inspection/FrameMarks.h"

#include "fixtures/Testing.h"
#include "frame/PixelType.h"

using namespace ombrel;

namespace {

template <typename T>
zt::u8 codeOf() {
    zt::u8 code = 0;
    while (!withPixelType(code, [](auto pixel) { return std::is_same_v<decltype(pixel), T>; }))
        ++code;
    return code;
}

// A frame of 100 in which some pixels have other values.
template <typename T>
FramePtr frameWith(const std::vector<std::pair<zt::u32, T>>& others, zt::u32 width = 8, zt::u32 height = 6) {
    FramePtr frame = Frame::create(width, height, codeOf<T>());
    std::ranges::fill(frame->pixels<T>(), T{100});
    for (const auto& [pixel, value] : others)
        frame->pixels<T>()[pixel] = value;
    return frame;
}

template <typename T>
std::vector<zt::u32> markedBy(const char* rule, T value) {
    return FrameMarks({rule, false}, {}).fill(*frameWith<T>({{9, value}}));
}

template <typename T>
constexpr T top = std::numeric_limits<T>::max();

} // namespace

TEST(FrameMarks, FollowTheRuleForEachType) {
    EXPECT_THAT(markedBy<zt::u32>("auto", top<zt::u32>), ElementsAre(9));
    EXPECT_THAT(markedBy<zt::u32>("auto", top<zt::u32> - 1), IsEmpty());
    EXPECT_THAT(markedBy<zt::i32>("auto", top<zt::i32>), ElementsAre(9));
    EXPECT_THAT(markedBy<zt::i32>("auto", -2), ElementsAre(9));
    EXPECT_THAT(markedBy<zt::u64>("auto", top<zt::u64>), ElementsAre(9));
    EXPECT_THAT(markedBy<zt::u16>("auto", top<zt::u16>), IsEmpty());
    EXPECT_THAT(markedBy<zt::i16>("auto", -1), IsEmpty());
    EXPECT_THAT(markedBy<float>("auto", -1), IsEmpty());
    EXPECT_THAT(markedBy<zt::u16>("top", top<zt::u16>), ElementsAre(9));
    EXPECT_THAT(markedBy<zt::i32>("top", -1), IsEmpty());
    EXPECT_THAT(markedBy<zt::i16>("negative", -1), ElementsAre(9));
    EXPECT_THAT(markedBy<zt::i32>("negative", top<zt::i32>), IsEmpty());
    EXPECT_THAT(markedBy<zt::u32>("none", top<zt::u32>), IsEmpty());
}

TEST(FrameMarks, FillFromGoodPixelsByInverseDistance) {
    // Two marks side by side; of the good pixels one is 400, beside the first of them.
    const FramePtr frame = frameWith<zt::u32>({{18, top<zt::u32>}, {19, top<zt::u32>}, {17, 400}});
    EXPECT_THAT(FrameMarks({}, {}).fill(*frame), ElementsAre(18, 19));
    // Weights in 5 x 5: 4 of 1, 4 of 1/sqrt 2, 4 of 1/2, 8 of 1/sqrt 5, 4 of 1/sqrt 8, without a neighbour
    // of 1.
    const double sum = 3 + 4 / std::sqrt(2.0) + 2 + 8 / std::sqrt(5.0) + 4 / std::sqrt(8.0);
    EXPECT_EQ(frame->pixels<zt::u32>()[18], static_cast<zt::u32>(std::lround(100 + 300 / sum)));
    // A pixel that the device masks is not good.
    const FramePtr masked = frameWith<zt::u32>({{18, top<zt::u32>}, {17, 400}});
    std::vector<zt::u8> mask(48, 1);
    mask[17] = 0;
    FrameMarks({}, mask).fill(*masked);
    EXPECT_EQ(masked->pixels<zt::u32>()[18], 100u);
}

TEST(FrameMarks, BecomeZeroWithoutGoodPixelsOrNanIfWanted) {
    std::vector<std::pair<zt::u32, zt::i32>> all;
    for (zt::u32 pixel = 0; pixel < 48; ++pixel)
        all.emplace_back(pixel, -1);
    const FramePtr frame = frameWith<zt::i32>(all);
    const FrameMarks marks({"auto", true}, {});
    const auto marked = marks.fill(*frame);
    EXPECT_EQ(marked.size(), 48u);
    EXPECT_THAT(frame->pixels<zt::i32>(), Each(0));
    marks.finish(*frame, std::vector<zt::u32>{3});
    EXPECT_TRUE(std::isnan(frame->pixels<double>()[3]));
    EXPECT_EQ(frame->pixels<double>()[4], 0);
}
