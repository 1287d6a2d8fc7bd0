#include "kernels/Bisection.h"

#include "kernels/Buffer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace PluginOmbrel {

namespace {

constexpr std::uint64_t signBit = std::uint64_t{1} << 63;

// Whole numbers in the order of the values.
std::uint64_t keyOf(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return bits & signBit ? ~bits : bits | signBit;
}

double valueOf(std::uint64_t key) {
    return std::bit_cast<double>(key & signBit ? key & ~signBit : ~key);
}

// By one byte after the other, from the lowest on: the time is linear in the number of keys.
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
            continue; // they are in order already, as counts are by most of their bytes
        std::size_t before = 0;
        for (std::size_t& place : places)
            before += std::exchange(place, before);
        for (const std::uint64_t key : keys.span())
            sorted.data()[places[byteOf(key)]++] = key;
        keys.swap(sorted);
    }
}

// Each step of the bisection is defined on all values: how many lie on each side of a pivot, and the two next
// to it. It may take a thousand steps, where values differ by orders of magnitude; sorted, a step is a
// search.
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
        const auto equal = std::ranges::equal_range(all, pivot, {}, valueOf);
        const auto less = static_cast<std::size_t>(equal.begin() - all.begin());
        const auto greater = static_cast<std::size_t>(all.end() - equal.end());
        return {less, greater, less == 0 ? min : std::max(min, valueOf(all[less - 1])),
                greater == 0 ? max : std::min(max, valueOf(*equal.end()))};
    }

    // Of equal zeros of both signs the first one among the values is met, wherever a value is taken.
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
    Buffer<std::uint64_t> keys; // of all values but NaNs, in ascending order
    double min = std::numeric_limits<double>::quiet_NaN();
    double max = std::numeric_limits<double>::quiet_NaN();
    double firstZero = 0;
};

} // namespace

double bisectMedian(std::span<const double> values) {
    return Bisection(values).median();
}

} // namespace PluginOmbrel
