#include "aic/AIC.h"
#include "aic/AICScratch.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

namespace {

// The reason why the pixels of a frame, with the given extremes, fit no bin after stretching.
const char* whyNotStretched(float lowest, float range) {
    if (range != 0)
        return frameNotFinite;
    return lowest == 0 ? "frame is black (all pixels are 0 after masks and bad-pixel repair); leave it out"
                       : "frame has the same value in all pixels, which pre-processing cannot normalise; "
                         "leave it out, "
                         "or set PPEnabled to false";
}

// Stretches the image to the unit range, plus the smallest normal number, and counts its pixels in bins.
void stretchAndCount(AICImage& image, const Kernels& loops, BinCounts& counts) {
    const float lowest = image.min_val();
    const float range = image.max_val() - lowest;
    counts.start(image.shapeSize(), 1.0f);
    const StretchRule rule = {lowest, range, std::numeric_limits<float>::min(), counts.binWidth(),
                              static_cast<float>(counts.binCount())};
    std::array<std::int32_t, 2048> bins;
    for (std::span<float> rest = image.pixels(); !rest.empty();) {
        const std::size_t count = std::min(rest.size(), bins.size());
        loops.stretchIntoBins(rest.data(), rule, bins.data(), count);
        if (!counts.addBins(std::span(bins).first(count)))
            throw std::out_of_range(whyNotStretched(lowest, range));
        rest = rest.subspan(count);
    }
}

} // namespace

int c_AIC::PreProcess(AICImage image, AICImage* result, AICImage* mask) {
    const Kernels& loops = work->loops;
    if (!Cfg.PPEnabled) {
        ScaleFactor = image.sum() / static_cast<float>(image.shapeSize());
        *result = std::move(image);
        loops.scale(result->pixels().data(), 1.0f / ScaleFactor, result->pixels().size());
        return 0;
    }
    const AICImage* factors = mask;
    if (mask == nullptr && CalibrationImages && CalibrationImages->CompensateMaskFlag != 0)
        factors = &CalibrationImages->CompensateMask;
    if (factors != nullptr && factors->sameShape(image)) {
        loops.multiply(image.pixels().data(), factors->pixels().data(),
                       std::min(image.pixels().size(), factors->pixels().size()));
    }
    removeBadPixels(image, *result);
    ScaleFactor = result->max_val();
    stretchAndCount(*result, loops, work->counts);
    loops.clip(result->pixels().data(), work->counts.quantile(Cfg.PPMedianMin),
               work->counts.quantile(Cfg.PPMedianMax), result->pixels().size());
    return 0;
}

int c_AIC::RemoveBadPixels(AICImage image, AICImage* result) {
    removeBadPixels(image, *result);
    return 0;
}

void c_AIC::removeBadPixels(const AICImage& image, AICImage& result) {
    if (BadPixelsMaskEnabled && !work->badPixelsAreBinary) {
        BadPixelsMask.threshold_bin(0.5f, 1.0f);
        work->badPixelsAreBinary = true;
    }
    const bool masked = BadPixelsMaskEnabled && BadPixelsMask.sameShape(image);
    work->outliers.repair(image, Cfg.PPBadPixelsDetectorMultiplicator, masked ? &BadPixelsMask : nullptr,
                          result);
}

int c_AIC::MaskPixelByMedian(AICImage image, AICImage mask, AICImage* result) {
    AICImage repaired = image;
    for (int i = 0; i < image.shapeSize(); ++i)
        if (mask.at(i, 0) == 1.0f)
            repaired.at(i, 0, image.median_3(i));
    *result = std::move(repaired);
    return 0;
}

int c_AIC::TruncateToMedian(AICImage image, AICImage* result, float lowQuantile, float highQuantile,
                            float range) {
    if (countPixels(image, range) != 0) {
        writeLog("c_AIC::Quantile2 histogram calculation error");
        return fail("c_AIC::TruncateToMedian median calculation error");
    }
    work->loops.clip(image.pixels().data(), work->counts.quantile(lowQuantile),
                     work->counts.quantile(highQuantile), image.pixels().size());
    *result = std::move(image);
    return 0;
}

int c_AIC::Quantile2(AICImage image, float lowQuantile, float highQuantile, float* low, float* high,
                     float range) {
    if (countPixels(image, range) != 0)
        return fail("c_AIC::Quantile2 histogram calculation error");
    *low = work->counts.quantile(lowQuantile);
    *high = work->counts.quantile(highQuantile);
    return 0;
}

int c_AIC::Quantile(AICImage image, float quantile, float* value, float range) {
    if (countPixels(image, range) != 0)
        return fail("c_AIC::Quantile histogram calculation error");
    *value = work->counts.quantile(quantile);
    return 0;
}

int c_AIC::Histogram(AICImage image, std::vector<float>* bins, float range) {
    if (countPixels(image, range) != 0)
        return -1;
    bins->clear();
    for (int bin = 0; bin < work->counts.binCount(); ++bin)
        bins->push_back(work->counts.count(bin));
    return 0;
}

int c_AIC::countPixels(const AICImage& image, float range) {
    if (image.empty())
        return fail("c_AIC::Histogram no data passed");
    work->counts.start(image.shapeSize(), range);
    if (!work->counts.add(image.pixels()))
        throw std::out_of_range("pixel outside the range of the histogram");
    return 0;
}
