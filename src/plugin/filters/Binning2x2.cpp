#include "filters/Binning2x2.h"

#include "filters/DeviceFilter.h"
#include "zt/DataBuff.h"
#include "zt/IMpxFrame.h"
#include "zt/Types.h"

#include <cstddef>

namespace PluginOmbrel {

namespace {

constexpr const char* notAFrame = "Cannot filter data that is not of type IMpxFrame";

// The blocks are processed in reading order, without a special case for a last odd row or column: a block
// that extends past the end of its row reads and overwrites the first pixel of the next row before that row
// is processed.
void binPixels(double* pixels, std::size_t width, std::size_t height) {
    for (std::size_t y = 0; y < height; y += 2) {
        double* upper = pixels + width * y;
        double* lower = upper + width;
        for (std::size_t x = 0; x < width; x += 2) {
            const double sum = upper[x] + upper[x + 1] + lower[x] + lower[x + 1];
            upper[x] = sum;
            upper[x + 1] = sum;
            lower[x] = sum;
            lower[x + 1] = sum;
        }
    }
}

// Takes the shape from the input frame: a host's clone may not report its own.
void binFrame(zt::IMpxFrame& frame, const zt::IMpxFrame& input) {
    frame.convertToType(zt::DT_DOUBLE);
    zt::RefDataBuff<double> pixels;
    frame.refData(&pixels, 0.0);
    binPixels(pixels.data(), input.width(), input.height());
}

} // namespace

Binning2x2::Binning2x2(zt::IZenteo* zenteo, zt::IDevMpx* device)
    : DeviceFilter(zenteo, device, zenteo->createParamMgr(), 0) {
    initParams();
}

void Binning2x2::initParams() {
    params->createString("Version", "Version", "1.0", nullptr, nullptr, zt::PARAM_CREATE_READ_ONLY);
}

zt::IData* Binning2x2::filter(const zt::IData* data) {
    if (data->type() != zt::IData::TYPE_FRAME)
        return logError<zt::IData*>(nullptr, notAFrame);
    ClonedFrame copy = cloneFrame(*data);
    binFrame(*copy, static_cast<const zt::IMpxFrame&>(*data));
    return copy.release();
}

int Binning2x2::filterReplace(zt::IData* data) {
    if (data->type() != zt::IData::TYPE_FRAME)
        return logError(0, notAFrame);
    auto& frame = static_cast<zt::IMpxFrame&>(*data);
    binFrame(frame, frame);
    return 0;
}

} // namespace PluginOmbrel
