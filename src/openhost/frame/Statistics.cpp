#include "frame/Statistics.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/Frame.h"
#include "frame/PixelType.h"
#include "zt/Types.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

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
FrameStatistics figures(std::span<const T> pixels) {
    const double origin = firstFinite(pixels);
    const auto [even, odd] = sumsOf(pixels, origin);
    FrameStatistics result;
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

FrameStatistics figuresOf(const Frame& frame) {
    return withPixelType(
        frame.frameDataType(), [&](auto pixel) { return figures(frame.pixels<decltype(pixel)>()); });
}

void checkRegion(const Region& region, const FrameFileInfo& info) {
    if (region.width == 0 || region.height == 0)
        throw UsageError(info.path + ": the region holds no pixel");
    if (zt::u64{region.x} + region.width > info.width || zt::u64{region.y} + region.height > info.height)
        throw UsageError(info.path + ": the region reaches beyond the frames of " +
                         sizeText(info.width, info.height));
}

std::vector<double> pixelsOf(Frame& frame, const Region& region) {
    frame.convertToType(zt::DT_DOUBLE);
    const auto all = frame.pixels<double>();
    std::vector<double> pixels;
    for (zt::u32 y = region.y; y < region.y + region.height; ++y) {
        const auto row = all.subspan(std::size_t{y} * frame.width() + region.x, region.width);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

Uniformity uniformityOf(std::vector<double> pixels) {
    std::erase_if(pixels, [](double pixel) { return !std::isfinite(pixel); });
    if (pixels.empty())
        return {notANumber, notANumber};
    const double mean = meanOf(pixels);
    double squares = 0;
    for (const double pixel : pixels)
        squares += (pixel - mean) * (pixel - mean);
    return {mean, std::sqrt(squares / static_cast<double>(pixels.size())) / mean};
}

RegionReport reportOnRegion(const std::string& path, const Region& region) {
    const auto file = FrameFile::open(path, FrameRole::Sample);
    const FrameFileInfo& info = file->info();
    checkRegion(region, info);
    RegionReport report;
    zt::u32 counted = 0;
    for (zt::u32 i = 0; i < info.frames; ++i) {
        const Uniformity frame = uniformityOf(pixelsOf(*file->readFrame(i), region));
        if (std::isnan(frame.mean))
            continue;
        report.mean += frame.mean;
        report.spread += frame.spread;
        ++counted;
    }
    if (counted == 0)
        throw Error(path + ": the region holds no finite pixel in any frame");
    report.mean /= counted;
    report.spread /= counted;
    report.statistics = 1 / std::sqrt(report.mean);
    return report;
}

} // namespace ombrel
