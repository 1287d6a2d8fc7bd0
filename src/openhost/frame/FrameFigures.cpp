#include "frame/FrameFigures.h"

#include "base/NotANumber.h"
#include "frame/Frame.h"
#include "frame/PixelType.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <type_traits>

namespace ombrel {

namespace {

typedef double Doubles __attribute__((vector_size(32)));
typedef long Counts __attribute__((vector_size(32)));
constexpr std::size_t lanes = sizeof(Doubles) / sizeof(double);

// Distances from a pixel of the frame, in place of the values, keep the digits that the square would cost.
struct LaneSums {
    Doubles distance{};
    Doubles squares{};
    Counts notFinite{};
    Counts zeros{};

    template <bool CanBeNotFinite>
    [[gnu::always_inline]] void add(const Doubles& pixels, double origin) {
        Doubles fromOrigin = pixels - origin;
        if constexpr (CanBeNotFinite) {
            const Counts isFinite = pixels - pixels == 0; // a comparison that holds is -1
            fromOrigin = isFinite ? fromOrigin : Doubles{};
            notFinite += isFinite + 1;
        }
        distance += fromOrigin;
        squares += fromOrigin * fromOrigin;
        zeros -= pixels == 0;
    }
};

template <typename T>
[[gnu::always_inline]] inline void load(Doubles& lane, const T* pixels) {
    if constexpr (std::is_same_v<T, double>) {
        std::memcpy(&lane, pixels, sizeof lane);
    } else {
        typedef T Pixels __attribute__((vector_size(lanes * sizeof(T))));
        typedef int Ints __attribute__((vector_size(lanes * sizeof(int))));
        Pixels some;
        std::memcpy(&some, pixels, sizeof some);
        if constexpr (sizeof(T) < sizeof(int))
            lane = __builtin_convertvector(__builtin_convertvector(some, Ints), Doubles);
        else
            lane = __builtin_convertvector(some, Doubles);
    }
}

// Two sums in turn, so that one need not wait for the other's addition.
struct Sums {
    LaneSums even;
    LaneSums odd;

    template <typename T>
    [[gnu::always_inline]] void addAll(std::span<const T> pixels, double origin) {
        constexpr bool canBeNotFinite = std::is_floating_point_v<T>;
        Doubles some;
        std::size_t i = 0;
        for (; i + 2 * lanes <= pixels.size(); i += 2 * lanes) {
            load(some, pixels.data() + i);
            even.add<canBeNotFinite>(some, origin);
            load(some, pixels.data() + i + lanes);
            odd.add<canBeNotFinite>(some, origin);
        }
        for (; i < pixels.size(); i += lanes) {
            const std::size_t rest = std::min(lanes, pixels.size() - i);
            some = Doubles{} + notANumber;
            for (std::size_t lane = 0; lane < rest; ++lane)
                some[lane] = static_cast<double>(pixels[i + lane]);
            even.add<true>(some, origin);
            even.notFinite[0] -= static_cast<long>(lanes - rest);
        }
    }
};

template <typename T>
[[gnu::target("avx2")]] void addWithAvx2(Sums& sums, std::span<const T> pixels, double origin) {
    sums.addAll(pixels, origin);
}

template <typename T>
Sums sumsOf(std::span<const T> pixels, double origin) {
    Sums sums;
    if (__builtin_cpu_supports("avx2"))
        addWithAvx2(sums, pixels, origin);
    else
        sums.addAll(pixels, origin);
    return sums;
}

auto total(const auto& some) {
    return (some[0] + some[1]) + (some[2] + some[3]);
}

template <typename T>
double firstFinite(std::span<const T> pixels) {
    const auto found =
        std::ranges::find_if(pixels, [](T pixel) { return std::isfinite(static_cast<double>(pixel)); });
    return found == pixels.end() ? 0 : static_cast<double>(*found);
}

template <typename T>
FrameFigures figures(std::span<const T> pixels) {
    const double origin = firstFinite(pixels);
    const auto [even, odd] = sumsOf(pixels, origin);
    FrameFigures result;
    result.zeroPixels = static_cast<zt::u64>(total(even.zeros + odd.zeros));
    result.notFinite = static_cast<zt::u64>(total(even.notFinite + odd.notFinite));
    if (result.notFinite == pixels.size()) {
        result.mean = result.spread = notANumber;
        return result;
    }
    const auto count = static_cast<double>(pixels.size() - result.notFinite);
    const double meanDistance = total(even.distance + odd.distance) / count;
    const double variance =
        std::max(0.0, total(even.squares + odd.squares) / count - meanDistance * meanDistance);
    result.mean = origin + meanDistance;
    result.spread = result.mean != 0 ? std::sqrt(variance) / result.mean : notANumber;
    return result;
}

} // namespace

FrameFigures figuresOf(const Frame& frame) {
    return withPixelType(frame.frameDataType(),
                         [&](auto pixel) { return figures(frame.pixels<decltype(pixel)>()); });
}

} // namespace ombrel
