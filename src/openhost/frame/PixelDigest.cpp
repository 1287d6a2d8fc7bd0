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

constexpr std::size_t lanes = 4;
constexpr std::size_t pairLanes = 2 * lanes; // of the even and the odd sums together

template <std::size_t Lanes>
struct Vector {
    typedef double Doubles __attribute__((vector_size(Lanes * sizeof(double))));
    typedef long Counts __attribute__((vector_size(Lanes * sizeof(long))));
};

// Sums of distances from one pixel of the frame, since squares of the values themselves would lose digits.
template <std::size_t Lanes>
struct LaneSums {
    using Doubles = typename Vector<Lanes>::Doubles;
    using Counts = typename Vector<Lanes>::Counts;

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

template <std::size_t Lanes, typename T>
[[gnu::always_inline]] inline void load(typename Vector<Lanes>::Doubles& lane, const T* pixels) {
    using Doubles = typename Vector<Lanes>::Doubles;
    if constexpr (std::is_same_v<T, double>) {
        std::memcpy(&lane, pixels, sizeof lane);
    } else {
        typedef T Pixels __attribute__((vector_size(Lanes * sizeof(T))));
        typedef int Ints __attribute__((vector_size(Lanes * sizeof(int))));
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
    LaneSums<lanes> even;
    LaneSums<lanes> odd;

    template <typename T>
    [[gnu::always_inline]] void addAll(std::span<const T> pixels, double origin) {
        constexpr bool canBeNotFinite = std::is_floating_point_v<T>;
        Vector<lanes>::Doubles some;
        std::size_t i = 0;
        for (; i + pairLanes <= pixels.size(); i += pairLanes) {
            load<lanes>(some, pixels.data() + i);
            even.add<canBeNotFinite>(some, origin);
            load<lanes>(some, pixels.data() + i + lanes);
            odd.add<canBeNotFinite>(some, origin);
        }
        for (; i < pixels.size(); i += lanes) {
            const std::size_t rest = std::min(lanes, pixels.size() - i);
            some = Vector<lanes>::Doubles{} + notANumber;
            for (std::size_t lane = 0; lane < rest; ++lane)
                some[lane] = static_cast<double>(pixels[i + lane]);
            even.add<true>(some, origin);
            even.notFinite[0] -= static_cast<long>(lanes - rest);
        }
    }
};

template <typename T>
[[gnu::target("avx2")]] void addWithAvx2(Sums& sums, std::span<const T> pixels, double origin) {
    Sums inRegisters = sums; // doubles among the pixels might alias those in memory
    inRegisters.addAll(pixels, origin);
    sums = inRegisters;
}

template <typename Pair, typename Half>
[[gnu::always_inline]] inline void join(Pair& pair, const Half& even, const Half& odd) {
    const Half halves[] = {even, odd};
    std::memcpy(&pair, halves, sizeof pair);
}

template <typename Pair, typename Half>
[[gnu::always_inline]] inline void split(const Pair& pair, Half& even, Half& odd) {
    Half halves[2];
    std::memcpy(halves, &pair, sizeof pair);
    even = halves[0];
    odd = halves[1];
}

// The even and the odd sums in one vector: the same sums, in half the instructions.
template <typename T>
[[gnu::target("avx512f,avx512dq,avx512vl")]] void addPairsWithAvx512(Sums& sums, std::span<const T> pixels,
                                                                     double origin) {
    LaneSums<pairLanes> both;
    join(both.distance, sums.even.distance, sums.odd.distance);
    join(both.squares, sums.even.squares, sums.odd.squares);
    join(both.notFinite, sums.even.notFinite, sums.odd.notFinite);
    join(both.zeros, sums.even.zeros, sums.odd.zeros);
    typename Vector<pairLanes>::Doubles some;
    for (std::size_t i = 0; i + pairLanes <= pixels.size(); i += pairLanes) {
        load<pairLanes>(some, pixels.data() + i);
        both.add<std::is_floating_point_v<T>>(some, origin);
    }
    split(both.distance, sums.even.distance, sums.odd.distance);
    split(both.squares, sums.even.squares, sums.odd.squares);
    split(both.notFinite, sums.even.notFinite, sums.odd.notFinite);
    split(both.zeros, sums.even.zeros, sums.odd.zeros);
}

template <typename T>
void addPixels(Sums& sums, std::span<const T> pixels, double origin) {
    static const bool hasAvx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                                  __builtin_cpu_supports("avx512vl");
    if (hasAvx512) {
        const std::size_t paired = pixels.size() / pairLanes * pairLanes;
        addPairsWithAvx512(sums, pixels.first(paired), origin);
        pixels = pixels.subspan(paired);
    }
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
