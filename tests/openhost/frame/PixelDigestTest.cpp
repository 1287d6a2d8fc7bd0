#include "frame/PixelDigest.h"

#include "fixtures/Testing.h"
#include "frame/Frame.h"
#include "frame/PixelType.h"

#include <bit>
#include <cstring>
#include <random>

namespace {

using ombrel::FrameStatistics;
using ombrel::PixelDigest;

bool sameFigures(const FrameStatistics& one, const FrameStatistics& other) {
    return std::bit_cast<zt::u64>(one.mean) == std::bit_cast<zt::u64>(other.mean) &&
           std::bit_cast<zt::u64>(one.spread) == std::bit_cast<zt::u64>(other.spread) &&
           one.zeroPixels == other.zeroPixels && one.notFinite == other.notFinite;
}

// Some pixels at the start are not finite, so that the first finite one may be in a later block.
ombrel::FramePtr randomFrame(zt::u8 type, std::size_t size, std::size_t notFinite, std::mt19937& random) {
    ombrel::FramePtr frame = ombrel::Frame::create(static_cast<zt::u32>(size), 1, type);
    ombrel::withPixelType(type, [&](auto pixel) {
        using T = decltype(pixel);
        for (std::size_t i = 0; T & value : frame->pixels<T>()) {
            value = static_cast<T>(random() % 5 == 0 ? 0 : random() % 120);
            if constexpr (std::is_floating_point_v<T>)
                value = i < notFinite || random() % 50 == 0 ? std::numeric_limits<T>::quiet_NaN()
                                                            : value + static_cast<T>(0.1);
            ++i;
        }
    });
    return frame;
}

TEST(PixelDigest, DoesNotDependOnTheBlocks) {
    std::mt19937 random(6);
    for (zt::u8 type = 0; type <= zt::DT_DOUBLE; ++type)
        for (const std::size_t size : {1, 7, 8, 40, 4096, 10007}) {
            const ombrel::FramePtr frame = randomFrame(type, size, 30, random);
            PixelDigest whole(type);
            whole.add(frame->bytes());
            EXPECT_EQ(whole.hash(), ombrel::pixelHash(frame->bytes()));
            for (const std::size_t step : {8, 16, 4104}) {
                PixelDigest inBlocks(type);
                const std::size_t bytes = step * ombrel::pixelSize(type);
                for (auto rest = frame->bytes(); !rest.empty();) {
                    const auto block = rest.first(std::min(rest.size(), bytes));
                    inBlocks.add(block);
                    rest = rest.subspan(block.size());
                }
                const std::string what = std::string(ombrel::pixelTypeName(type)) + ' ' +
                                         std::to_string(size) + " in blocks of " + std::to_string(step);
                EXPECT_TRUE(sameFigures(inBlocks.figures(), whole.figures())) << what;
                EXPECT_TRUE(sameFigures(ombrel::figuresOf(*frame), whole.figures())) << what;
                EXPECT_EQ(inBlocks.hash(), whole.hash()) << what;
            }
        }
}

TEST(PixelDigest, GivesEveryNanTheSameBits) {
    std::mt19937 random(7);
    const ombrel::FramePtr frame = randomFrame(zt::DT_FLOAT, 9000, 0, random);
    const ombrel::FramePtr other(static_cast<ombrel::Frame*>(frame->clone()));
    for (float& pixel : other->pixels<float>())
        if (std::isnan(pixel))
            pixel = std::bit_cast<float>(0xFFC12345);
    PixelDigest one(zt::DT_FLOAT);
    PixelDigest two(zt::DT_FLOAT);
    one.addWithOneNan(frame->bytes());
    two.addWithOneNan(other->bytes());
    EXPECT_GT(one.figures().notFinite, 0);
    EXPECT_EQ(one.hash(), two.hash());
    EXPECT_EQ(std::memcmp(frame->bytes().data(), other->bytes().data(), frame->bytes().size()), 0);
}

} // namespace
