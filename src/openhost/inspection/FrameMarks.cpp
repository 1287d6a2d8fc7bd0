#include "inspection/FrameMarks.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace ombrel {

namespace {

constexpr zt::u32 fillReach = 2; // pixels to each side

bool isInteger(zt::u8 pixelType) {
    return pixelType != zt::DT_FLOAT && pixelType != zt::DT_DOUBLE;
}

struct MarkRule {
    bool top = false;
    bool negative = false;
};

template <typename T>
std::vector<zt::u32> markedIn(std::span<const T> pixels, MarkRule rule) {
    std::vector<zt::u32> marked;
    // Few frames have marks: the test of a whole block is vectorised.
    constexpr std::size_t block = 1024;
    for (std::size_t begin = 0; begin < pixels.size(); begin += block) {
        const std::size_t end = std::min(begin + block, pixels.size());
        bool any = false;
        for (std::size_t i = begin; i < end; ++i)
            any |= isMark(pixels[i], rule.top, rule.negative);
        for (std::size_t i = begin; any && i < end; ++i)
            if (isMark(pixels[i], rule.top, rule.negative))
                marked.push_back(static_cast<zt::u32>(i));
    }
    return marked;
}

using Weights = std::array<std::array<double, fillReach + 1>, fillReach + 1>;

// By the distance in x and y. The pixel itself is marked and has none.
const Weights& inverseDistances() {
    static const Weights weights = [] {
        Weights all{};
        for (zt::u32 v = 0; v <= fillReach; ++v)
            for (zt::u32 u = 0; u <= fillReach; ++u)
                all[v][u] = u + v == 0 ? 0 : 1 / std::hypot(static_cast<double>(u), static_cast<double>(v));
        return all;
    }();
    return weights;
}

zt::u32 distance(zt::u32 one, zt::u32 other) {
    return one < other ? other - one : one - other;
}

// The weighted mean around a pixel; `isGood` for the index of a pixel.
template <typename T, typename Good>
double meanAround(std::span<const T> pixels, zt::u32 width, zt::u32 at, Good isGood) {
    const auto height = static_cast<zt::u32>(pixels.size() / width);
    const zt::u32 x = at % width;
    const zt::u32 y = at / width;
    const Weights& factors = inverseDistances();
    double sum = 0;
    double weights = 0;
    for (zt::u32 v = y - std::min(y, fillReach); v <= std::min(y + fillReach, height - 1); ++v)
        for (zt::u32 u = x - std::min(x, fillReach); u <= std::min(x + fillReach, width - 1); ++u) {
            const std::size_t pixel = std::size_t{v} * width + u;
            if (!isGood(pixel))
                continue;
            const double weight = factors[distance(v, y)][distance(u, x)];
            sum += weight * static_cast<double>(pixels[pixel]);
            weights += weight;
        }
    return weights > 0 ? sum / weights : 0;
}

// A few marked pixels cost no pass over the frame: the means are taken while all marks are still in it.
template <typename T>
void fillMarked(std::span<T> pixels, zt::u32 width, std::span<const zt::u32> marked,
                std::span<const zt::u8> mask, MarkRule rule) {
    const auto isGood = [&](std::size_t pixel) {
        return (mask.empty() || mask[pixel] != 0) && !isMark(pixels[pixel], rule.top, rule.negative);
    };
    std::vector<T> means;
    means.reserve(marked.size());
    for (const zt::u32 pixel : marked)
        means.push_back(clampedCast<T>(meanAround(std::span<const T>(pixels), width, pixel, isGood)));
    for (std::size_t i = 0; i < marked.size(); ++i)
        pixels[marked[i]] = means[i];
}

} // namespace

FrameMarks::FrameMarks(const MarkOptions& markOptions, std::vector<zt::u8> deviceMask)
    : options(markOptions), mask(std::move(deviceMask)) {}

bool FrameMarks::takesTop(zt::u8 pixelType) const {
    return isInteger(pixelType) &&
           (options.marks == "top" || (options.marks == "auto" && pixelSize(pixelType) >= 4));
}

bool FrameMarks::takesNegative(zt::u8 pixelType) const {
    return isInteger(pixelType) &&
           (options.marks == "negative" || (options.marks == "auto" && pixelSize(pixelType) >= 4));
}

std::vector<zt::u32> FrameMarks::find(const Frame& frame) const {
    const zt::u8 type = frame.frameDataType();
    const MarkRule rule{takesTop(type), takesNegative(type)};
    if (!rule.top && !rule.negative)
        return {};
    return withPixelType(type, [&](auto pixel) { return markedIn(frame.pixels<decltype(pixel)>(), rule); });
}

std::vector<zt::u32> FrameMarks::fill(Frame& frame) const {
    std::vector<zt::u32> marked = find(frame);
    if (marked.empty())
        return marked;
    const zt::u8 type = frame.frameDataType();
    const MarkRule rule{takesTop(type), takesNegative(type)};
    const auto known =
        mask.size() == frame.size() ? std::span<const zt::u8>(mask) : std::span<const zt::u8>();
    withPixelType(type, [&](auto pixel) {
        fillMarked(frame.pixels<decltype(pixel)>(), frame.width(), marked, known, rule);
    });
    return marked;
}

void FrameMarks::finish(Frame& frame, std::span<const zt::u32> marked) const {
    if (!options.keepNan || marked.empty())
        return;
    frame.convertToType(zt::DT_DOUBLE);
    const std::span<double> pixels = frame.pixels<double>();
    for (const zt::u32 pixel : marked)
        if (pixel < pixels.size())
            pixels[pixel] = notANumber;
}

std::string saturationNote(FrameStack& stack, zt::u64 index, const MarkOptions& options) {
    const zt::u8 type = stack.pixelType(index);
    if (options.marks != "auto" || !isInteger(type) || pixelSize(type) > 2)
        return {};
    FramePtr frame;
    try {
        frame = stack.readFrame(index);
    } catch (const Error&) {
        return {}; // the run records it as failed
    }
    const zt::u64 count = withPixelType(type, [&](auto pixel) {
        using T = decltype(pixel);
        return static_cast<zt::u64>(
            std::ranges::count(frame->pixels<T>(), static_cast<T>(std::numeric_limits<T>::max())));
    });
    if (count == 0)
        return {};
    return stack.where(index) + ": " + countText(count, "pixel") + (count == 1 ? " has" : " have") +
           " the greatest value of " + std::string(pixelTypeName(type)) +
           ", which counts as saturated; if it marks pixels without a count, give --marks top";
}

} // namespace ombrel
