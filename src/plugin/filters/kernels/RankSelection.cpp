#include "kernels/RankSelection.h"

#include "kernels/Buffer.h"
#include "kernels/ProcessorDispatch.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace PluginOmbrel {

namespace {

// Sums over the lanes of vectors; each true comparison adds -1.
template <std::size_t Lanes>
struct LaneCounts {
    using LaneMask = typename Vector<Lanes>::LaneMask;
    LaneMask belowLow{};
    LaneMask upToLow{};
    LaneMask belowHigh{};
    LaneMask upToHigh{};
    LaneMask bits{};          // OR of all values: its sign bit shows whether any has a sign
    LaneMask notFiniteBits{}; // value - value has no bits set exactly for finite values

    // Marks in `inside` the lanes between the two.
    __attribute__((always_inline)) void add(const double* values, double low, double high, LaneMask& inside) {
        typename Vector<Lanes>::Doubles vector;
        std::memcpy(&vector, values, sizeof vector);
        const LaneMask notAboveLow = vector <= low;
        const LaneMask underHigh = vector < high;
        belowLow += vector < low;
        upToLow += notAboveLow;
        belowHigh += underHigh;
        upToHigh += vector <= high;
        bits |= reinterpret_cast<LaneMask>(vector);
        notFiniteBits |= reinterpret_cast<LaneMask>(vector - vector);
        inside |= underHigh & ~notAboveLow;
    }
};

template <typename LaneMask>
__attribute__((always_inline)) inline long sumOfLanes(const LaneMask& mask) {
    long sum = 0;
    for (std::size_t lane = 0; lane < sizeof(LaneMask) / sizeof(long); ++lane)
        sum += mask[lane];
    return sum;
}

template <typename LaneMask>
__attribute__((always_inline)) inline long anyOfLanes(const LaneMask& mask) {
    long any = 0;
    for (std::size_t lane = 0; lane < sizeof(LaneMask) / sizeof(long); ++lane)
        any |= mask[lane];
    return any;
}

// Collects the values between the two from a block, without a branch on any single value. The count is passed
// and returned by value, so that it stays in a register.
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
            typename Vector<Lanes>::LaneMask inside{};
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

namespace {

constexpr std::uint64_t signBit = std::uint64_t{1} << 63;

// Integers that sort like the values.
std::uint64_t keyOf(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return bits & signBit ? ~bits : bits | signBit;
}

double valueOf(std::uint64_t key) {
    return std::bit_cast<double>(key & signBit ? key & ~signBit : ~key);
}

// Sorts by one byte after the other, lowest first: time linear in the number of keys.
void sortKeys(Buffer<std::uint64_t>& keys) {
    constexpr int bitsOfByte = 8;
    Buffer<std::uint64_t> sorted;
    sorted.resize(keys.size());
    for (int shift = 0; shift < 64; shift += bitsOfByte) {
        const auto byteOf = [shift](std::uint64_t key) { return (key >> shift) & 0xff; };
        std::array<std::size_t, 256> places{};
        for (const std::uint64_t key : keys.span())
            ++places[byteOf(key)];
        if (keys.empty() || places[byteOf(keys.span().front())] == keys.size())
            continue; // already in order; counts share most of their bytes
        std::size_t before = 0;
        for (std::size_t& place : places)
            before += std::exchange(place, before);
        for (const std::uint64_t key : keys.span())
            sorted.data()[places[byteOf(key)]++] = key;
        keys.swap(sorted);
    }
}

// Each step of the bisection is defined on all values: how many lie on each side of a pivot, and the two
// closest to it. It may take a thousand steps when values differ by orders of magnitude; with sorted values a
// step is a binary search.
class Bisection {
public:
    explicit Bisection(std::span<const double> values) : total(values.size()) {
        keys.resize(total - static_cast<std::size_t>(std::ranges::count_if(values, isNaN)));
        std::size_t count = 0;
        for (const double value : values)
            if (!isNaN(value))
                keys.data()[count++] = keyOf(value);
        sortKeys(keys);
        const auto zero = std::ranges::find(values, 0.0);
        if (zero != values.end())
            firstZero = *zero;
        if (!keys.empty()) {
            min = withSignOfZero(valueOf(keys.span().front()));
            max = withSignOfZero(valueOf(keys.span().back()));
        }
    }

    double median() {
        const std::size_t half = (total + 1) / 2;
        for (;;) {
            const double pivot = middle();
            const Split split = splitAt(pivot);
            if (split.less <= half && split.greater <= half)
                return result(split, pivot, half);
            if (split.less > split.greater)
                max = withSignOfZero(split.maxLess);
            else
                min = withSignOfZero(split.minGreater);
        }
    }

private:
    // NaNs lie on neither side.
    struct Split {
        std::size_t less;
        std::size_t greater;
        double maxLess;    // the largest value below the pivot, but not below the range
        double minGreater; // the smallest value above the pivot, but not above the range
    };

    static bool isNaN(double value) { return std::isnan(value); }

    Split splitAt(double pivot) const {
        const std::span<const std::uint64_t> all = keys.span();
        const auto equal = std::ranges::lower_bound(all, pivot, {}, valueOf);
        const auto above = std::ranges::upper_bound(all, pivot, {}, valueOf);
        const auto less = static_cast<std::size_t>(equal - all.begin());
        const auto greater = static_cast<std::size_t>(all.end() - above);
        return {less, greater, less == 0 ? min : std::max(min, valueOf(all[less - 1])),
                greater == 0 ? max : std::min(max, valueOf(*above))};
    }

    // Of equal zeros with different signs, the first one among the values is returned, wherever a value is
    // taken.
    double withSignOfZero(double value) const { return value == 0 ? firstZero : value; }

    double middle() const {
        const double sum = min + max;
        if (std::isinf(sum) && std::isfinite(min) && std::isfinite(max))
            return min * 0.5 + max * 0.5;
        return sum * 0.5;
    }

    double result(const Split& split, double pivot, std::size_t half) const {
        if (split.less >= half)
            return withSignOfZero(split.maxLess);
        const std::size_t equal = total - split.less - split.greater;
        return split.less + equal >= half ? pivot : withSignOfZero(split.minGreater);
    }

    std::size_t total;
    Buffer<std::uint64_t> keys; // all values except NaNs, ascending
    double min = std::numeric_limits<double>::quiet_NaN();
    double max = std::numeric_limits<double>::quiet_NaN();
    double firstZero = 0;
};

} // namespace

double bisectMedian(std::span<const double> values) {
    return Bisection(values).median();
}

namespace {

constexpr std::size_t fewValues = 8192; // too few for a sample
constexpr std::size_t valuesPerSample = 32;
constexpr std::size_t largestSample = 65536;

// Rank and value refer to all values; they are reordered.
double rankOf(std::span<double> values, std::size_t rank) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank - 1);
    std::ranges::nth_element(values, place);
    return *place;
}

RankSelection selectFromCopy(std::span<const double> values, std::size_t rank) {
    RankSelection selection;
    for (const double value : values) {
        selection.allFinite &= std::isfinite(value);
        selection.anySignBit |= std::signbit(value);
    }
    if (!selection.allFinite)
        return selection;
    Buffer<double> copy;
    copy.resize(values.size());
    std::ranges::copy(values, copy.data());
    selection.value = rankOf(copy.span(), rank);
    return selection;
}

// One value from each of equally long sections, at varying positions, so that the sample does not follow the
// pattern of the frame's columns. The positions are always the same.
std::vector<double> sampleOf(std::span<const double> values) {
    const std::size_t count = std::min(values.size() / valuesPerSample, largestSample);
    const std::size_t stretch = values.size() / count;
    std::vector<double> sample(count);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        sample[i] = values[i * stretch + (state >> 8) % stretch];
    }
    return sample;
}

// Two values of the sample that enclose the rank among all values; this fails once in tens of thousands of
// random tables (four standard deviations of the rank in a sample). Empty when the sample is not finite.
std::optional<BracketCount> bracketOf(std::span<const double> values, std::size_t rank) {
    std::vector<double> sample = sampleOf(values);
    if (!std::ranges::all_of(sample, [](double value) { return std::isfinite(value); }))
        return std::nullopt;
    const auto size = static_cast<double>(sample.size());
    const double centre = size * static_cast<double>(rank) / static_cast<double>(values.size());
    const double reach = 2 * std::sqrt(size) + 1;
    const auto rankAt = [&](double position) {
        return static_cast<std::size_t>(std::clamp(position, 1.0, size));
    };
    const double low = rankOf(sample, rankAt(centre - reach));
    const double high = rankOf(sample, rankAt(centre + reach));
    return BracketCount{low, high};
}

} // namespace

RankSelection selectRank(std::span<const double> values, std::size_t rank) {
    if (values.size() < fewValues)
        return selectFromCopy(values, rank);
    std::optional<BracketCount> bracket = bracketOf(values, rank);
    if (!bracket)
        return {0, false, false};

    Buffer<double> between;
    between.resize(values.size() / 4 + bracketBlock);
    countBracket(values, between.span(), *bracket);
    RankSelection selection{0, bracket->allFinite, bracket->anySignBit};
    if (!bracket->allFinite)
        return selection;

    if (rank > bracket->belowLow && rank <= bracket->upToLow)
        selection.value = bracket->low;
    else if (rank > bracket->belowHigh && rank <= bracket->upToHigh)
        selection.value = bracket->high;
    else if (rank > bracket->upToLow && rank <= bracket->belowHigh && bracket->collectedAll)
        selection.value = selectRank(between.span().first(bracket->collected), rank - bracket->upToLow).value;
    else
        return selectFromCopy(values, rank);
    return selection;
}

} // namespace PluginOmbrel
