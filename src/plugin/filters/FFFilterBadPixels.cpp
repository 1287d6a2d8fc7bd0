// The flat-field filter's mask of bad pixels, and their interpolation.
#include "filters/FFFilter.h"
#include "kernels/BadPixelInterpolation.h"
#include "kernels/BadPixelMask.h"
#include "kernels/MaskScan.h"
#include "zt/DataType.h"
#include "zt/ErrorCode.h"
#include "zt/RefDataBuff.h"

namespace PluginOmbrel {

void FFFilter::generateBadPixelMaskFromZeroPixels(const zt::IMpxFrame* frame) {
    badPixels.resize(frame->size());
    markZeroPixels(*frame, badPixels.span());
}

void FFFilter::generateBadPixelMaskFromFFCoeffs() {
    badPixels.resize(coeffs.size());
    markExtremeCoefficients(coeffs.span(), badFFUnderCoeff, badFFOverCoeff, badPixels.span());
}

int FFFilter::interpolateBadPixels(zt::IMpxFrame* frame) {
    if (frame->frameDataType() != zt::DT_DOUBLE)
        return logError<int>(zt::ERR_INVALID_INPUT,
                             "Cannot interpolate bad pixels - frame is not of type double");
    // A device mask of another size is passed over.
    if (useDevMask && badPixels.size() == dev->pixelCfg()->pixelCount()) {
        dev->pixelCfg()->maskData(&deviceMask, 0);
        markMaskedPixels({deviceMask.data(), deviceMask.size()}, badPixels.span());
    }
    if (badPixels.size() != frame->size())
        return logError<int>(zt::ERR_INVALID_INPUT,
                             "Cannot interpolate bad pixels - frame dimensions do not match");
    const std::size_t count = countMarks(badPixels.data(), badPixels.size());
    if (count > badPixels.size() / 2)
        return logError<int>(zt::ERR_CANNOT_CORRECT, "Too many bad pixels (%llu) to interpolate.",
                             static_cast<unsigned long long>(count));

    zt::RefDataBuff<double> pixels;
    frame->refData(&pixels, 0.0);
    return tInterpolateBadPixels(pixels.data(), badPixels.data(), frame->width(), frame->height(), front);
}

} // namespace PluginOmbrel
