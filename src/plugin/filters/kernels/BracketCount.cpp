#include "kernels/BracketCount.h"

#include "kernels/ProcessorDispatch.h"

#include <cmath>
#include <cstring>

namespace PluginOmbrel {

namespace {

// Sums over the lanes of vectors; each comparison that holds counts -1.
template <std::size_t Lanes>
struct LaneCounts {
    using Mask = typename Vector<Lanes>::Mask;
    Mask belowLow{};
    Mask upToLow{};
    Mask belowHigh{};
    Mask upToHigh{};
    Mask bits{};          // of all values, or-ed: the sign bit tells of any sign
    Mask notFiniteBits{}; // value - value is a zero without bits for finite values alone

    // Marks in `inside` the lanes between the two.
    __attribute__((always_inline)) void add(const double* values, double low, double high, Mask& inside) {
        typename Vector<Lanes>::Doubles vector;
        std::memcpy(&vector, values, sizeof vector);
        const Mask notAboveLow = vector <= low;
        const Mask underHigh = vector < high;
        belowLow += vector < low;
        upToLow += notAboveLow;
        belowHigh += underHigh;
        upToHigh += vector <= high;
        bits |= reinterpret_cast<Mask>(vector);
        notFiniteBits |= reinterpret_cast<Mask>(vector - vector);
        inside |= underHigh & ~notAboveLow;
    }
};

template <typename Mask>
__attribute__((always_inline)) inline long sumOfLanes(const Mask& mask) {
    long sum = 0;
    for (std::size_t lane = 0; lane < sizeof(Mask) / sizeof(long); ++lane)
        sum += mask[lane];
    return sum;
}

template <typename Mask>
__attribute__((always_inline)) inline long anyOfLanes(const Mask& mask) {
    long any = 0;
    for (std::size_t lane = 0; lane < sizeof(Mask) / sizeof(long); ++lane)
        any |= mask[lane];
    return any;
}

// Takes the values between the two out of a block, without a branch on any single one. The count goes in and
// out by value, so that it stays in a register.
__attribute__((always_inline)) inline std::size_t
collect(std::span<const double> block, const BracketCount& count, double* between, std::size_t collected) {
    for (const double value : block) {
        between[collected] = value;
        collected +=
            static_cast<std::size_t>(value > count.low) & static_cast<std::size_t>(value < count.high);
    }
    return collected;
}

struct BracketKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<const double> values, std::span<double> between,
                                                   BracketCount* count) {
        const BracketCount bracket = *count;
        const std::size_t room = between.size() - bracketBlock;
        LaneCounts<Lanes> lanes;
        std::size_t collected = 0;
        bool collectedAll = true;
        std::size_t i = 0;
        for (; i + bracketBlock <= values.size(); i += bracketBlock) {
            typename Vector<Lanes>::Mask inside{};
            for (std::size_t lane = 0; lane < bracketBlock; lane += Lanes)
                lanes.add(values.data() + i + lane, bracket.low, bracket.high, inside);
            if (!anyOfLanes(inside))
                continue;
            if (collected <= room)
                collected = collect(values.subspan(i, bracketBlock), bracket, between.data(), collected);
            else
                collectedAll = false;
        }
        store(lanes, *count);
        addTail(values.subspan(i), *count);
        count->collectedAll = collectedAll && collected <= room;
        count->collected =
            count->collectedAll ? collect(values.subspan(i), bracket, between.data(), collected) : collected;
    }

    template <std::size_t Lanes>
    static void store(const LaneCounts<Lanes>& lanes, BracketCount& count) {
        count.belowLow = static_cast<std::size_t>(-sumOfLanes(lanes.belowLow));
        count.upToLow = static_cast<std::size_t>(-sumOfLanes(lanes.upToLow));
        count.belowHigh = static_cast<std::size_t>(-sumOfLanes(lanes.belowHigh));
        count.upToHigh = static_cast<std::size_t>(-sumOfLanes(lanes.upToHigh));
        count.anySignBit = anyOfLanes(lanes.bits) < 0;
        count.allFinite = anyOfLanes(lanes.notFiniteBits) == 0;
    }

    static void addTail(std::span<const double> values, BracketCount& count) {
        for (const double value : values) {
            count.belowLow += value < count.low;
            count.upToLow += value <= count.low;
            count.belowHigh += value < count.high;
            count.upToHigh += value <= count.high;
            count.anySignBit |= std::signbit(value);
            count.allFinite &= std::isfinite(value);
        }
    }
};

} // namespace

void countBracket(std::span<const double> values, std::span<double> between, BracketCount& count) {
    runVectorised<BracketKernel>(values, between, &count);
}

} // namespace PluginOmbrel
