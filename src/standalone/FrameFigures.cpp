#include "standalone/FrameFigures.h"

#include "standalone/Frame.h"
#include "standalone/PixelType.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>

namespace ombrel {

namespace {

// Sums of each lane, so that the compiler can take several pixels at once.
template <typename T>
struct LaneSums {
    static constexpr std::size_t lanes = 8;
    std::array<double, lanes> sum{};
    std::array<double, lanes> squares{};
    std::array<double, lanes> finite{}; // counts are exact in a double, and stay with the other lanes
    std::array<double, lanes> zeros{};

    void add(const T* pixels, double origin) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const auto pixel = static_cast<double>(pixels[lane]);
            const bool isFinite = std::is_integral_v<T> || pixel - pixel == 0;
            const double distance = isFinite ? pixel - origin : 0;
            sum[lane] += distance;
            squares[lane] += distance * distance;
            finite[lane] += isFinite ? 1 : 0;
            zeros[lane] += pixel == 0 ? 1 : 0;
        }
    }
};

double total(const auto& lanes) {
    return std::accumulate(lanes.begin(), lanes.end(), 0.0);
}

template <typename T>
double firstFinite(std::span<const T> pixels) {
    const auto found =
        std::ranges::find_if(pixels, [](T pixel) { return std::isfinite(static_cast<double>(pixel)); });
    return found == pixels.end() ? 0 : static_cast<double>(*found);
}

// Distances from a pixel of the frame, in place of the values, keep the digits that the square would cost.
template <typename T>
FrameFigures figures(std::span<const T> pixels) {
    const double origin = firstFinite(pixels);
    LaneSums<T> sums;
    std::size_t i = 0;
    for (; i + sums.lanes <= pixels.size(); i += sums.lanes)
        sums.add(pixels.data() + i, origin);
    std::array<T, LaneSums<T>::lanes> rest;
    rest.fill(T{1});
    const std::size_t restCount = pixels.size() - i;
    std::ranges::copy(pixels.subspan(i), rest.begin());
    LaneSums<T> last;
    last.add(rest.data(), origin);
    for (std::size_t lane = 0; lane < restCount; ++lane) {
        sums.sum[lane] += last.sum[lane];
        sums.squares[lane] += last.squares[lane];
        sums.finite[lane] += last.finite[lane];
        sums.zeros[lane] += last.zeros[lane];
    }

    const double count = total(sums.finite);
    const double meanDistance = total(sums.sum) / count;
    const double variance = std::max(0.0, total(sums.squares) / count - meanDistance * meanDistance);
    FrameFigures result;
    result.mean = count > 0 ? origin + meanDistance : std::numeric_limits<double>::quiet_NaN();
    result.spread =
        result.mean != 0 ? std::sqrt(variance) / result.mean : std::numeric_limits<double>::quiet_NaN();
    if (count == 0)
        result.spread = result.mean;
    result.zeroPixels = static_cast<zt::u64>(total(sums.zeros));
    result.notFinite = pixels.size() - static_cast<zt::u64>(count);
    return result;
}

} // namespace

FrameFigures figuresOf(const Frame& frame) {
    return withPixelType(frame.frameDataType(),
                         [&](auto pixel) { return figures(frame.pixels<decltype(pixel)>()); });
}

} // namespace ombrel
