#include "calibration/AdaptiveTestFrame.h"

#include "base/Error.h"
#include "base/Mean.h"

#include <cmath>
#include <utility>

namespace ombrel {

namespace {

constexpr double farFromMean = 3; // pixels beyond this factor are no good ones

// Of the quotient of a frame's count and its flat field's.
double relativeVariance(double count, double flatMean, zt::u32 flatFrames, FlatOrigin origin) {
    if (flatFrames == 0)
        return 1 / count;
    const double flatCounts = flatMean * flatFrames;
    return origin == FlatOrigin::WithoutTest ? 1 / count + 1 / flatCounts : 1 / count - 1 / flatCounts;
}

} // namespace

AdaptiveTestFrame::AdaptiveTestFrame(const GridPoint& gridPoint, GridFlat flat, std::span<const float> mask,
                                     FlatOrigin origin)
    : at(gridPoint), measured(std::move(flat.test)) {
    const FramePtr copy(static_cast<Frame*>(measured->clone()));
    copy->convertToType(zt::DT_DOUBLE);
    const auto counts = std::as_const(*copy).pixels<double>();
    const auto& field = origin == FlatOrigin::WithoutTest ? flat.ofOthers : flat.ofAll;
    // A frame that is its own flat field is held against its own statistics.
    const zt::u32 others = flat.frames - 1;
    const zt::u32 flatFrames = others == 0 ? 0 : origin == FlatOrigin::WithoutTest ? others : flat.frames;
    const double mean = meanOf(field);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const bool isGood = counts[i] > 0 && field[i] * farFromMean >= mean && field[i] <= mean * farFromMean;
        if (!isGood || (!mask.empty() && mask[i] == 0))
            continue;
        pixels.push_back(i);
        variance += relativeVariance(counts[i], field[i], flatFrames, origin);
    }
    if (pixels.empty())
        throw Error(measured->frameName() + ": no pixel is good enough to try settings with");
    variance /= static_cast<double>(pixels.size());
}

FramePtr AdaptiveTestFrame::frame() const {
    measured->addRef();
    return FramePtr(measured.get());
}

double AdaptiveTestFrame::residual(const Frame& corrected) const {
    const auto values = corrected.pixels<double>();
    double sum = 0;
    for (const std::size_t pixel : pixels)
        sum += values[pixel];
    const double mean = sum / static_cast<double>(pixels.size());
    double squares = 0;
    for (const std::size_t pixel : pixels)
        squares += (values[pixel] / mean - 1) * (values[pixel] / mean - 1);
    return std::sqrt(squares / static_cast<double>(pixels.size()) / variance);
}

} // namespace ombrel
