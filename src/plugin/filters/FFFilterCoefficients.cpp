// The flat-field filter's coefficients from the device's frames, and their computation from an image.
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"
#include "kernels/FlatField.h"
#include "zt/FrameHolder.h"
#include "zt/Types.h"

#include <algorithm>

namespace PluginOmbrel {

namespace {

constexpr const char* sizesDiffer = "Frame dimensions do not match";

} // namespace

int FFFilter::loadCoefficientsFromAcquisition(bool allFrames) {
    coeffsSourceName = allFrames ? "<From all measured frames>" : "<From last measured frame>";
    const zt::FrameHolder last(dev->lastAcqFrame());
    int subFrame = -1;
    if (last && last->subFrameCount() > 0) {
        const std::weak_ptr<const void> filterLife = lifetime();
        subFrame = askForSubFrame(*last.get(), "Select sub-frame for Flat-Field correction");
        if (filterLife.expired())
            return zt::ERR_GENERIC;
    }
    const std::vector<zt::IMpxFrame*> frames = acquiredFrames(allFrames, subFrame);
    if (frames.empty())
        return logError<int>(zt::ERR_GENERIC, "Cannot load flat-field coefficients. No frames measured");

    // The scale of the sum does not matter: dividing by the median removes it.
    FrameSum sum(*host->dataMgr());
    for (zt::IMpxFrame* frame : frames) {
        if (frame->size() != dev->pixelCount())
            return logError<int>(zt::ERR_INVALID_INPUT, sizesDiffer);
        if (const int failure = addFrame(*frame, sum))
            return failure;
    }
    takeCoefficients(sum);
    return prepareCoefficients();
}

// The device keeps its frames, so no reference is needed.
std::vector<zt::IMpxFrame*> FFFilter::acquiredFrames(bool allFrames, int subFrame) {
    std::vector<zt::IMpxFrame*> frames;
    const auto gather = [&](zt::IMpxFrame* handedOver) {
        const zt::FrameHolder frame(handedOver);
        if (!frame)
            return;
        const std::vector<zt::IMpxFrame*> parts = frame->subFrames();
        const bool hasPart = subFrame >= 0 && static_cast<std::size_t>(subFrame) < parts.size();
        frames.push_back(hasPart ? parts[static_cast<std::size_t>(subFrame)] : frame.get());
    };
    if (!allFrames)
        gather(dev->lastAcqFrame());
    else
        for (int i = 0; i < dev->acqFrameCountAll(); ++i)
            gather(dev->acqFrame(static_cast<zt::u32>(i)));
    return frames;
}

void FFFilter::setAllCoefficientsToOne() {
    std::ranges::fill(coeffs.resized(dev->pixelCount()), 1.0);
}

void FFFilter::takeCoefficients(const FrameSum& sum) {
    const std::span<const double> pixels = sum.pixels();
    std::ranges::copy(pixels, coeffs.resized(pixels.size()).begin());
}

int FFFilter::prepareCoefficients() {
    const std::size_t width = dev->width();
    const std::size_t height = dev->height();
    if (coeffs.size() < width * height) {
        setAllCoefficientsToOne();
        return logError<int>(zt::ERR_INVALID_INPUT, sizesDiffer);
    }
    // The columns need the unmodified image.
    tdiCoeffs.resize(width);
    meanOfColumns(coeffs.values().span(), height, tdiCoeffs.span());
    toCoefficients(tdiCoeffs.span());
    toCoefficients(coeffs.resized(coeffs.size()));
    return 0;
}

} // namespace PluginOmbrel
