// The way of a frame through the flat-field filter.
#include "filters/ClonedFrame.h"
#include "filters/FFFilter.h"
#include "kernels/Multiply.h"
#include "zt/DataType.h"
#include "zt/RefDataBuff.h"

namespace PluginOmbrel {

const char* FFFilter::refusal(const zt::IData& data) const {
    if (data.type() != zt::IData::TYPE_FRAME)
        return "Cannot filter data that is not of type IMpxFrame";
    if (coeffs.empty())
        return "No flat-field coefficients loaded";
    // A frame of another shape with as many pixels passes.
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

// The mask tells of the frame as it was measured: a product can be zero where the pixel was not.
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
    // Finished coefficients from a file come without those of the columns.
    if (useTdi && !tdiCoeffs.empty())
        multiplyColumns(values, tdiCoeffs.span());
    else
        multiplyPixels(values, coeffs.span());
    // What can't be interpolated stays multiplied.
    if (interpolateBadPixelsOn)
        interpolateBadPixels(&frame);
}

} // namespace PluginOmbrel
