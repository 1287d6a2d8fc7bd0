#pragma once

#include "kernels/ProcessorDispatch.h"

#include <cstddef>
#include <limits>

namespace PluginOmbrel {

// The natural logarithm of each lane of a vector, less than 1 ulp from the exact value over the whole range;
// -infinity for 0, NaN for negative values and NaN.
//
// It is one fixed sequence of operations, each rounded separately, so that every processor returns the same
// bits. x is split into 2^k * (1 + f) with 1 + f between the square roots of 1/2 and 2. With s = f / (2 + f),
//
//     log(1 + f) = log((1 + s) / (1 - s)) = 2s + s r(s^2) = f - (f^2/2 - s (f^2/2 + r(s^2)))
//
// where the last form keeps the rounding of s away from the leading digits, and r is a minimax polynomial
// (error 2^-58). The computation is split in two parts: running the first part for several vectors and then
// the second keeps a processor busier than running both for each vector, since the first is limited by its
// division.
template <std::size_t Lanes>
class Logarithm {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    // Vectors are passed by reference: the calling convention by value depends on the instruction set.
    __attribute__((always_inline)) static void replace(Doubles& x) {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
        const auto denormal = x < std::numeric_limits<double>::min();
        Logarithm logarithm;
        logarithm.split(denormal ? x * 0x1p54 : x);
        logarithm.k -= denormal ? Doubles{} + 54 : Doubles{};
        Doubles ofOrdinary;
        logarithm.join(ofOrdinary);
        const Doubles aboveZero = x < infinity ? ofOrdinary : Doubles{} + infinity;
        const Doubles zeroOrBelow = x == 0 ? Doubles{} - infinity : Doubles{} + notANumber;
        x = x > 0 ? aboveZero : zeroOrBelow;
    }

    // Sets the sign of `strange` in each lane where x is not a normal, finite number above 0.
    __attribute__((always_inline)) static void noteStrange(const Doubles& x, LaneMask& strange) {
        constexpr unsigned long leastNormal = 0x0010000000000000;
        const Bits aboveLeast = reinterpret_cast<Bits>(x) - leastNormal;
        strange |= reinterpret_cast<LaneMask>(aboveLeast | (aboveLeast + 2 * leastNormal));
    }

    // The first part; x must be a normal, finite number above 0.
    __attribute__((always_inline)) void split(const Doubles& x) {
        constexpr unsigned long rootOfHalf = 0x3FE6A09E667F3BCD;
        constexpr unsigned long exponentField = 0xFFF0000000000000;
        const Bits bits = reinterpret_cast<Bits>(x);

        // The exponent, relative to the square root of 1/2 and with a bias of 2048, is converted to double by
        // placing it below the leading bit of 2^52.
        const Bits aboveRoot = bits - rootOfHalf;
        const Bits exponent = (aboveRoot + 0x8000000000000000) >> 52;
        k = reinterpret_cast<Doubles>(exponent | 0x4330000000000000) - (0x1p52 + 2048);
        const Doubles mantissa = reinterpret_cast<Doubles>(bits - (aboveRoot & exponentField));
        f = mantissa - 1;
        s = f / (mantissa + 1);
    }

    // The second part, which returns the result.
    __attribute__((always_inline)) void join(Doubles& result) const {
        constexpr double ln2Head = 0x1.62e42fefa38p-1; // 42 bits: its product with k is exact
        constexpr double ln2Tail = 0x1.ef35793c7673p-45;

        const Doubles z = s * s;
        const Doubles w = z * z;
        const Doubles low = 0x1.5555555555592p-1 + z * 0x1.999999997fdb8p-2;
        const Doubles middle = 0x1.24924941f123dp-2 + z * 0x1.c71c52095dd95p-3;
        const Doubles high = 0x1.74663ee84c8a8p-3 + z * 0x1.39a1baba38b7cp-3 + w * 0x1.2f05636bdec92p-3;
        const Doubles polynomial = (low + w * middle) + (w * w) * high; // r(z) / z
        const Doubles halfSquare = 0.5 * f * f;
        const Doubles remainder = (s * z) * polynomial + (s * halfSquare + k * ln2Tail);
        result = k * ln2Head - ((halfSquare - remainder) - f);
    }

private:
    typedef unsigned long Bits __attribute__((vector_size(Lanes * sizeof(double))));

    Doubles k;
    Doubles f;
    Doubles s;
};

} // namespace PluginOmbrel
