#include "frame/PixelPacking.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace ombrel {

namespace {

// The nearest 16-bit floating-point number (halves to even) to a value of at most 65504. There is no negative
// zero: it would not come back from its value.
zt::u16 halfOf(double value) {
    const auto all = std::bit_cast<zt::u64>(value);
    const auto sign = static_cast<zt::u16>(all >> 48 & 0x8000);
    const zt::u64 bits = all & ~(zt::u64{1} << 63);
    constexpr zt::u64 smallestNormal = zt::u64{1023 - 14} << 52;
    if (bits < smallestNormal) {
        const auto fraction = clampedCast<zt::u16>(std::bit_cast<double>(bits) * 0x1p24);
        return fraction == 0 ? fraction : static_cast<zt::u16>(sign | fraction);
    }
    // Of the 52 bits of the fraction 10 remain; a carry goes into the exponent.
    const zt::u64 rounded = (bits + 0x1ff'ffff'ffff + (bits >> 42 & 1)) >> 42;
    return static_cast<zt::u16>(sign | (rounded - (zt::u64{1023 - 15} << 10)));
}

} // namespace

PixelPacking PixelPacking::between(double low, double high, bool isHalf) {
    // Of the 53 bits of a double, the offset takes as many as it exceeds the range.
    constexpr double largestOffset = 1e9;
    const std::string range = "--scale " + numberText(low) + ',' + numberText(high) + ": ";
    if (!std::isfinite(low) || !std::isfinite(high) || !(low < high))
        throw UsageError(range + "LO must be below HI, and both must be finite");
    const double width = high - low;
    if (!std::isfinite(width) || std::max(std::abs(low), std::abs(high)) > largestOffset * width ||
        width < 1e-300)
        throw UsageError(range + "LO and HI are too close to each other, or too far apart");
    const double steps = isHalf ? 1 : 65534;
    return {isHalf, width / steps, low, 0, steps};
}

zt::u64 PixelPacking::pack(std::span<const double> values, std::span<zt::u16> stored) const {
    zt::u64 clipped = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double number = (values[i] - offset) / scale;
        const double inside = number < least ? least : number > greatest ? greatest : number;
        const bool isNan = number != number;
        clipped += inside != number && !isNan;
        stored[i] = isNan ? storedNan() : isHalf ? halfOf(inside) : clampedCast<zt::u16>(inside);
    }
    return clipped;
}

void PixelPacking::unpack(std::span<const zt::u16> stored, std::span<double> values) const {
    for (std::size_t i = 0; i < stored.size(); ++i) {
        const double number = isHalf ? static_cast<double>(floatOfHalf(stored[i])) : stored[i];
        values[i] = !isHalf && stored[i] == storedNan() ? notANumber : scale * number + offset;
    }
}

} // namespace ombrel
