#include "frame/PixelPacking.h"

#include "base/Error.h"
#include "fixtures/Testing.h"
#include "frame/PixelType.h"

#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

using ombrel::PixelPacking;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

struct Packed {
    std::vector<zt::u16> stored;
    zt::u64 clipped;
};

Packed packed(const PixelPacking& packing, const std::vector<double>& values) {
    Packed result{std::vector<zt::u16>(values.size()), 0};
    result.clipped = packing.pack(values, result.stored);
    return result;
}

std::vector<double> unpacked(const PixelPacking& packing, const std::vector<zt::u16>& stored) {
    std::vector<double> values(stored.size());
    packing.unpack(stored, values);
    return values;
}

std::vector<zt::u16> allNumbers() {
    std::vector<zt::u16> all(65536);
    std::iota(all.begin(), all.end(), zt::u16{0});
    return all;
}

} // namespace

TEST(PixelPacking, ClipsAndCountsWhatIsOutside) {
    const auto whole = PixelPacking::between(-1, 3, false);
    const Packed result = packed(whole, {-1, 3, 1, -1.001, inf, -inf, NAN, 3.0001});
    EXPECT_EQ(result.stored, (std::vector<zt::u16>{0, 65534, 32767, 0, 65534, 0, 65535, 65534}));
    EXPECT_EQ(result.clipped, 4U);
    EXPECT_TRUE(std::isnan(unpacked(whole, result.stored)[6]));
    const Packed counts = packed(PixelPacking::between(0, 65534, false), {0, 7, 65534, 2.5, 3.5});
    EXPECT_EQ(counts.stored, (std::vector<zt::u16>{0, 7, 65534, 2, 4}));
    EXPECT_EQ(packed(PixelPacking::between(0, 2, true), {-0.1, 0, 2, 2.1}).clipped, 2U);
    EXPECT_EQ(packed(PixelPacking::plainHalf(), {65504, 65505, -inf, -65504}).clipped, 2U);
}

// A stored number is found again from its value, so that a file can be compared with the hash of its frames.
TEST(PixelPacking, StoredNumbersComeBack) {
    const std::vector<zt::u16> all = allNumbers();
    for (const auto& [low, high] : {std::pair(-1.0, 3.0), {0.0, 65534.0}, {1e9, 1e9 + 2}, {-1e-30, 1e-30}}) {
        const auto whole = PixelPacking::between(low, high, false);
        EXPECT_EQ(packed(whole, unpacked(whole, all)).stored, all);
    }
    const auto half = PixelPacking::plainHalf();
    for (zt::u32 number = 0; number < 65536; ++number) {
        const bool comesBack = (number >> 10 & 31) != 31 && number != 0x8000; // no infinity, no negative zero
        ASSERT_TRUE(!comesBack || packed(half, unpacked(half, {all[number]})).stored[0] == number) << number;
    }
    EXPECT_EQ(packed(half, {NAN}).stored[0], half.storedNan());
}

TEST(PixelPacking, HalvesAreTheNearestOnes) {
    const auto half = PixelPacking::plainHalf();
    for (zt::u16 number = 0; number < 0x7bff; ++number) {
        const double low = ombrel::floatOfHalf(number);
        const auto above = static_cast<zt::u16>(number + 1);
        const double high = ombrel::floatOfHalf(above);
        const double middle = (low + high) / 2;
        const zt::u16 even = number % 2 == 0 ? number : above;
        const auto result =
            packed(half, {std::nextafter(middle, 0), middle, std::nextafter(middle, inf), -middle});
        ASSERT_EQ(result.stored, (std::vector<zt::u16>{number, even, above,
                                                       static_cast<zt::u16>(even == 0 ? 0 : even | 0x8000)}));
    }
}

TEST(PixelPacking, RefusesRangesThatStoreNothing) {
    for (const auto& [low, high] :
         {std::pair(1.0, 1.0), {2.0, 1.0}, {0.0, inf}, {double(NAN), 1.0}, {-1e308, 1e308}, {1e12, 1e12 + 1}})
        EXPECT_THROW(PixelPacking::between(low, high, false), ombrel::UsageError) << low << ' ' << high;
}
