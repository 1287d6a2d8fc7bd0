#include "filters/FFFilter.h"

#include "filters/DeviceFilter.h"
#include "kernels/BadPixelMask.h"
#include "kernels/FlatField.h"
#include "zt/DataBuff.h"
#include "zt/Types.h"

// How a frame passes through the flat-field filter.

namespace PluginOmbrel {

FFFilter::FFFilter(zt::IZenteo* zenteo, zt::IDevMpx* device)
    : DeviceFilter(zenteo, device, zenteo->createParamMgr(), 1) {
    initParams();
}

void FFFilter::initParams() {
    params->createString("Version", "Version", "1.0", nullptr, nullptr, zt::PARAM_CREATE_READ_ONLY);
}

void FFFilter::setUseZeroPixelsForBadPixels(bool on) {
    useZeroPixels = on;
    badPixelMaskName = "<Zero pixels>";
    useFFCoeffs = false;
}

void FFFilter::setUseFFCoeffsForBadPixels(bool on) {
    useFFCoeffs = on;
    badPixelMaskName = "<Bad FF pixels>";
    useZeroPixels = false;
}

int FFFilter::loadBadPixelMaskFromFile(const char* path, bool /*flag*/) {
    useDevMask = false;
    badPixelMaskName = path ? path : "";
    return 0;
}

void FFFilter::generateBadPixelMaskFromZeroPixels(const zt::IMpxFrame* frame) {
    markZeroPixels(*frame, badPixels);
}

void FFFilter::generateBadPixelMaskFromFFCoeffs() {
    badPixels.assign(coeffs.extremes(badFFUnderCoeff, badFFOverCoeff));
}

int FFFilter::interpolateBadPixels(zt::IMpxFrame* frame) {
    if (frame->frameDataType() != zt::DT_DOUBLE)
        return logError<int>(zt::ERR_INVALID_INPUT,
                             "Cannot interpolate bad pixels - frame is not of type double");
    // A device mask of another size is ignored.
    if (useDevMask && badPixels.size() == dev->pixelCfg()->pixelCount()) {
        dev->pixelCfg()->maskData(&deviceMask, 0);
        // The device may return fewer bytes than it has pixels.
        badPixels.addZeros({deviceMask.data(), deviceMask.size()});
    }
    if (badPixels.size() != frame->size())
        return logError<int>(zt::ERR_INVALID_INPUT,
                             "Cannot interpolate bad pixels - frame dimensions do not match");
    const std::size_t count = badPixels.count();
    if (count > badPixels.size() / 2)
        return logError<int>(zt::ERR_CANNOT_CORRECT, "Too many bad pixels (%llu) to interpolate.",
                             static_cast<unsigned long long>(count));

    zt::RefDataBuff<double> pixels;
    frame->refData(&pixels, 0.0);
    const FrameSize shape{frame->width(), frame->height()};
    if (!fills.repeat(pixels.data(), badPixels, shape))
        fills.fill(pixels.data(), badPixels, shape);
    return 0;
}

const char* FFFilter::refusal(const zt::IData& data) const {
    if (data.type() != zt::IData::TYPE_FRAME)
        return "Cannot filter data that is not of type IMpxFrame";
    if (coeffs.empty())
        return "No flat-field coefficients loaded";
    // A frame of a different shape with the same number of pixels is accepted.
    if (static_cast<const zt::IMpxFrame&>(data).size() != coeffs.size())
        return "Frame dimensions do not match";
    return nullptr;
}

zt::IData* FFFilter::filter(const zt::IData* data) {
    if (const char* reason = refusal(*data))
        return logError<zt::IData*>(nullptr, reason);
    rebuildMask(static_cast<const zt::IMpxFrame&>(*data));
    ClonedFrame copy = cloneFrame(*data);
    correct(*copy);
    return copy.release();
}

int FFFilter::filterReplace(zt::IData* data) {
    if (const char* reason = refusal(*data))
        return logError(0, reason);
    auto& frame = static_cast<zt::IMpxFrame&>(*data);
    rebuildMask(frame);
    correct(frame);
    return 0;
}

// The mask is built from the measured frame: a product can be zero where the pixel was not.
void FFFilter::rebuildMask(const zt::IMpxFrame& measured) {
    if (!interpolateBadPixelsOn)
        return;
    if (useZeroPixels)
        generateBadPixelMaskFromZeroPixels(&measured);
    if (useFFCoeffs)
        generateBadPixelMaskFromFFCoeffs();
}

void FFFilter::correct(zt::IMpxFrame& frame) {
    frame.convertToType(zt::DT_DOUBLE);
    zt::RefDataBuff<double> pixels;
    frame.refData(&pixels, 0.0);
    const std::span<double> values(pixels.data(), pixels.size());
    // Finished coefficients from a file have no column coefficients.
    if (useTdi && !tdiCoeffs.empty())
        multiplyColumns(values, tdiCoeffs.span());
    else
        multiplyPixels(values, coeffs.values().span());
    // Pixels that can't be interpolated stay multiplied.
    if (interpolateBadPixelsOn)
        interpolateBadPixels(&frame);
}

} // namespace PluginOmbrel
