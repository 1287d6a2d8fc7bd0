#include "filters/BHFilter.h"

#include "filters/DeviceFilter.h"
#include "zt/DataBuff.h"
#include "zt/Types.h"

// How a frame passes through the beam-hardening filter.

namespace PluginOmbrel {

BHFilter::BHFilter(zt::IZenteo* zenteo, zt::IDevMpx* device) : DeviceFilter(zenteo, device, nullptr, 0) {}

BHFilter::~BHFilter() {
    if (leaveConfigDialog)
        leaveConfigDialog();
}

namespace {

constexpr const char* noTime = "Acquisition time cannot be zero";

double timeOf(const zt::IMpxFrame& frame) {
    const double time = frame.acqTime();
    return time == 0 ? 1.0 : time;
}

} // namespace

const char* BHFilter::refusal(const zt::IData& data, int& code) const {
    code = zt::ERR_INVALID_INPUT;
    if (data.type() != zt::IData::TYPE_FRAME)
        return "Cannot filter data that is not of type IMpxFrame";
    code = zt::ERR_FRAME_SIZE;
    // Without masks the size is 0.
    if (static_cast<const zt::IMpxFrame&>(data).size() != frameSize)
        return "Frame dimensions do not match";
    return nullptr;
}

zt::IData* BHFilter::filter(const zt::IData* data) {
    int code = 0;
    if (const char* reason = refusal(*data, code))
        return logError<zt::IData*>(nullptr, reason);
    ClonedFrame copy = cloneFrame(*data);
    if (filterFrame(copy.get(), timeOf(static_cast<const zt::IMpxFrame&>(*data))) != 0)
        return nullptr;
    return copy.release();
}

int BHFilter::filterReplace(zt::IData* data) {
    int code = 0;
    if (const char* reason = refusal(*data, code))
        return logError(code, reason);
    auto& frame = static_cast<zt::IMpxFrame&>(*data);
    return filterFrame(&frame, timeOf(frame));
}

int BHFilter::filterFrame(zt::IMpxFrame* frame, double acqTime) {
    frame->convertToType(zt::DT_DOUBLE);
    zt::RefDataBuff<double> look;
    frame->refData(&look, 0.0);
    const std::span<double> pixels(look.data(), look.size());
    // A mask that can't be converted is used unconverted.
    logarithmMasks();
    const int result = tdiOn ? walkColumns(pixels, frame->width(), acqTime) : walkPixels(pixels, acqTime);
    if (result != 0)
        return result;
    // Pixels that can't be interpolated keep their thickness.
    if (interpolateOn)
        interpolateBadPixels(frame);
    return 0;
}

int BHFilter::walkPixels(std::span<double> pixels, double acqTime) {
    if (acqTime == 0)
        return logError<int>(zt::ERR_INVALID_INPUT, noTime);
    if (const int failure = checkTables(&ThicknessMask::data, pixels.size()))
        return failure;
    takeTables(&ThicknessMask::data);
    pixelOrder.find(tables, pixels.size());
    replaceByThickness(pixels, acqTime, tables, pixelOrder);
    return 0;
}

int BHFilter::walkColumns(std::span<double> pixels, std::size_t width, double acqTime) {
    if (const int failure = checkTables(&ThicknessMask::tdiData, width))
        return failure;
    if (acqTime == 0) {
        // Only a pixel above 0 needs the time.
        for (double& pixel : pixels) {
            if (!(pixel <= 0))
                return logError<int>(zt::ERR_INVALID_INPUT, noTime);
            pixel = 0;
        }
        return 0;
    }
    takeTables(&ThicknessMask::tdiData);
    columnOrder.find(tables, width);
    for (std::size_t row = 0; row < pixels.size(); row += width)
        replaceByThickness(pixels.subspan(row, width), acqTime, tables, columnOrder);
    return 0;
}

void BHFilter::takeTables(Buffer<double> ThicknessMask::*table) {
    tables.clear();
    for (const auto& mask : maskList)
        tables.add(((*mask).*table).data(), mask->thickness);
}

void BHFilter::forgetOrder() {
    pixelOrder.forget();
    columnOrder.forget();
}

int BHFilter::checkTables(Buffer<double> ThicknessMask::*table, std::size_t values) const {
    for (std::size_t k = 0; k < maskList.size(); ++k) {
        const std::size_t size = ((*maskList[k]).*table).size();
        if (size < values)
            return logError<int>(zt::ERR_INVALID_INPUT, "Mask %u has too few values (%llu < %llu)",
                                 static_cast<unsigned int>(k + 1), static_cast<unsigned long long>(size),
                                 static_cast<unsigned long long>(values));
    }
    return 0;
}

} // namespace PluginOmbrel
