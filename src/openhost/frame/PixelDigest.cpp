#include "frame/PixelDigest.h"

#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace ombrel {

namespace {

typedef double Doubles __attribute__((vector_size(32)));
typedef long Counts __attribute__((vector_size(32)));
constexpr std::size_t lanes = sizeof(Doubles) / sizeof(double);

// Sums of distances from one pixel of the frame, since squares of the values themselves would lose digits.
struct LaneSums {
    Doubles distance{};
    Doubles squares{};
    Counts notFinite{};
    Counts zeros{};

    template <bool CanBeNotFinite>
    [[gnu::always_inline]] void add(const Doubles& pixels, double origin) {
        Doubles fromOrigin = pixels - origin;
        if constexpr (CanBeNotFinite) {
            const Counts isFinite = pixels - pixels == 0; // a true comparison is -1
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

// Two alternating sums, so that an addition need not wait for the previous one.
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
void addPixels(Sums& sums, std::span<const T> pixels, double origin) {
    if (__builtin_cpu_supports("avx2"))
        addWithAvx2(sums, pixels, origin);
    else
        sums.addAll(pixels, origin);
}

template <typename T>
std::array<T, lanes> pairSums(const std::array<T, lanes>& even, const std::array<T, lanes>& odd) {
    return {even[0] + odd[0], even[1] + odd[1], even[2] + odd[2], even[3] + odd[3]};
}

template <typename T>
T total(const std::array<T, lanes>& some) {
    return (some[0] + some[1]) + (some[2] + some[3]);
}

template <typename T>
const T* firstFinite(std::span<const T> pixels) {
    const auto found =
        std::ranges::find_if(pixels, [](T pixel) { return std::isfinite(static_cast<double>(pixel)); });
    return found == pixels.end() ? nullptr : &*found;
}

template <typename T>
std::span<const T> pixelsIn(std::span<const std::byte> block) {
    return {reinterpret_cast<const T*>(block.data()), block.size() / sizeof(T)};
}

template <typename T>
void useOneNan(std::span<std::byte> block) {
    for (T& pixel : std::span(reinterpret_cast<T*>(block.data()), block.size() / sizeof(T)))
        if (std::isnan(pixel))
            pixel = std::numeric_limits<T>::quiet_NaN();
}

// Calls `work` with one block of pixels after the other.
template <typename Byte, typename Work>
void inBlocks(std::span<Byte> pixels, zt::u8 type, Work work) {
    const std::size_t bytes = blockPixels * pixelSize(type);
    for (std::size_t done = 0; done < pixels.size(); done += bytes)
        work(pixels.subspan(done, std::min(bytes, pixels.size() - done)));
}

} // namespace

void PixelFigures::add(std::span<const std::byte> block) {
    withPixelType(
        type,
        [&](auto pixel) {
            const auto pixels = pixelsIn<decltype(pixel)>(block);
            if (!hasOrigin) {
                const auto* const first = firstFinite(pixels);
                hasOrigin = first != nullptr;
                origin = first ? static_cast<double>(*first) : 0;
            }
            auto sums = std::bit_cast<Sums>(stored);
            addPixels(sums, pixels, origin);
            stored = std::bit_cast<Totals>(sums);
            count += pixels.size();
        });
}

zt::u64 PixelFigures::notFinite() const {
    return static_cast<zt::u64>(total(pairSums(stored.even.notFinite, stored.odd.notFinite)));
}

FrameStatistics PixelFigures::result() const {
    FrameStatistics result;
    result.zeroPixels = static_cast<zt::u64>(total(pairSums(stored.even.zeros, stored.odd.zeros)));
    result.notFinite = notFinite();
    if (result.notFinite == count) {
        result.mean = result.spread = notANumber;
        return result;
    }
    const auto finite = static_cast<double>(count - result.notFinite);
    const double meanDistance = total(pairSums(stored.even.distance, stored.odd.distance)) / finite;
    const double variance = std::max(0.0, total(pairSums(stored.even.squares, stored.odd.squares)) / finite -
                                              meanDistance * meanDistance);
    result.mean = origin + meanDistance;
    result.spread = result.mean != 0 ? std::sqrt(variance) / result.mean : notANumber;
    return result;
}

void PixelDigest::add(std::span<const std::byte> block) {
    inBlocks(
        block, type,
        [&](std::span<const std::byte> part) {
            figuresSoFar.add(part);
            hasher.add(part);
        });
}

void PixelDigest::addWithOneNan(std::span<std::byte> block) {
    inBlocks(
        block, type,
        [&](std::span<std::byte> part) {
            const zt::u64 before = figuresSoFar.notFinite();
            figuresSoFar.add(part);
            if (figuresSoFar.notFinite() != before)
                type == zt::DT_DOUBLE ? useOneNan<double>(part) : useOneNan<float>(part);
            hasher.add(part);
        });
}

} // namespace ombrel
