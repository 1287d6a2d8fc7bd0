#include "aic/AIC.h"
#include "aic/AICScratch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

// Combines the kernel's passes and the operations on single images: both are scored with the same sums.

namespace {

// The reason why the sums of candidates are NaN or infinite.
const char* whyNotFinite(float scaleFactor) {
    if (scaleFactor == 0)
        return "frame is black (the mean of its pixels is 0); leave it out";
    return !std::isfinite(scaleFactor)
               ? frameNotFinite
               : "frame divided by a flat field has pixels that are NaN or infinite; look for such pixels in "
                 "the frame, the flat fields and CustomMaskFile";
}

// The reason why a candidate's tile sums do not fit into the bins.
const char* whyNotScored(std::span<const float> sums, float scaleFactor) {
    if (std::ranges::all_of(sums, [](float sum) { return std::isfinite(sum); })) {
        return "no tile of the frame shows any structure to compare flat fields by; leave the frame out, or "
               "check CustomMaskFile and QfBorderMaskSize, which may mask all of it";
    }
    return whyNotFinite(scaleFactor);
}

} // namespace

const char* c_AIC::whyWithoutWinner() const {
    return whyNotFinite(ScaleFactor);
}

bool c_AIC::refusesQualityOf(const AICImage& image) {
    if (!work->highPass.complete()) {
        writeLog("c_AIC::QualityFunctionPreProcess kernel has too few values for its window");
        return true;
    }
    if (image.lacksPixels()) {
        writeLog("c_AIC::QualityFunctionPreProcess number of pixels does not match image size");
        return true;
    }
    if (!qualityMasksFit(image)) {
        writeLog("c_AIC::QualityFunctionPreProcess mask size does not match image size");
        return true;
    }
    return false;
}

int c_AIC::QualityFunctionPreProcess(AICImage image, AICImage* result) {
    if (refusesQualityOf(image))
        return -1;
    *result = highPassMagnitude(std::move(image));
    return 0;
}

int c_AIC::QualityFunction(AICImage image, float* value) {
    if (refusesQualityOf(image))
        return -1;
    if (Cfg.QfTileSize < 1) {
        *value = highPassMagnitude(std::move(image)).sum();
        return 0;
    }
    return scoreTiles(tileSums(image), value);
}

int c_AIC::QualityMatrix(AICImage image, int, AICImage* result) {
    if (refusesQualityOf(image))
        return -1;
    result->release();
    if (Cfg.QfTileSize < 1) {
        writeLog("c_AIC::QualityMatrix size of windows = 0");
        return 0;
    }
    const int tilesAcross = image.cols() / Cfg.QfTileSize;
    const std::span<const float> sums = tileSums(image);
    if (tilesAcross > 0) {
        result->resize(tilesAcross, static_cast<int>(sums.size()) / tilesAcross);
        std::ranges::copy(sums, result->pixels().begin());
    }
    return 0;
}

AICImage c_AIC::highPassMagnitude(AICImage image) {
    const auto multiply = [&](const AICImage& mask) {
        work->loops.multiply(image.pixels().data(), mask.pixels().data(),
                             std::min(image.pixels().size(), mask.pixels().size()));
    };
    if (CustomMaskEnabled)
        multiply(CustomMask);
    if (BorderMaskEnabled)
        multiply(BorderMask);
    AICImage filtered;
    AICImage::filter2D(std::move(image), &filtered, KernelData.get(), KernelSize);
    filtered.abs();
    return filtered;
}

std::span<const float> c_AIC::tileSums(const AICImage& image) {
    std::vector<float>& sums = work->sums[0];
    const int tile = Cfg.QfTileSize;
    if (TileSums::serves(image.cols(), image.rows(), tile, work->highPass)) {
        const TileOrder order(image.cols(), image.rows(), tile);
        const QualityMasks masks = {CustomMaskEnabled ? &CustomMask : nullptr,
                                    BorderMaskEnabled ? &BorderMask : nullptr};
        TileSums kernel(order, work->highPass, masks, work->loops);
        sums.resize(order.tileCount());
        kernel.setFrame(image.pixels());
        kernel.sumFrame(sums.data());
        return sums;
    }
    const AICImage filtered = highPassMagnitude(image);
    sums.clear();
    for (int x = 0; x < image.cols() / tile; ++x)
        for (int y = 0; y < image.rows() / tile; ++y)
            sums.push_back(filtered.sum(x * tile, y * tile, tile, tile));
    return sums;
}

int c_AIC::scoreTiles(std::span<const float> sums, float* value) {
    if (sums.empty()) {
        writeLog("c_AIC::Histogram no data passed");
        writeLog("c_AIC::Quantile histogram calculation error");
        return fail("c_AIC::QuailityFunction preprocessing quantile");
    }
    work->counts.start(static_cast<int>(sums.size()), *std::ranges::max_element(sums));
    if (!work->counts.add(sums))
        throw std::out_of_range(whyNotScored(sums, ScaleFactor));
    const float cut = work->counts.quantile(Cfg.QfTileThreshold / 100.0f);
    double total = 0;
    for (const float sum : sums)
        total += sum > cut ? 0 : sum;
    *value = static_cast<float>(total);
    return 0;
}
