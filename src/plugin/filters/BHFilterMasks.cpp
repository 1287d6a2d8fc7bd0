// The beam-hardening filter's masks: adding, sorting and converting them.
#include "filters/BHFilter.h"
#include "filters/DeviceFilter.h"
#include "kernels/FlatField.h"
#include "support/Str.h"
#include "zt/DataBuff.h"
#include "zt/FrameHolder.h"
#include "zt/Types.h"

#include <algorithm>
#include <cmath>

namespace PluginOmbrel {

namespace {

constexpr const char* noTime = "Acquisition time cannot be zero";
constexpr const char* sizesDiffer = "Dimensions of frames does not match";
constexpr const char* notLoaded = "Cannot load mask from file (%s)";

template <typename T>
void copyPixels(zt::IMpxFrame& frame, std::span<double> values) {
    zt::RefDataBuff<T> pixels;
    frame.refData(&pixels, 0.0);
    std::copy_n(pixels.data(), values.size(), values.begin());
}

bool isMaskType(zt::u8 type) {
    return type == zt::DT_I16 || type == zt::DT_U32 || type == zt::DT_DOUBLE;
}

void copyPixels(zt::IMpxFrame& frame, std::span<double> values, zt::u8 type) {
    if (type == zt::DT_I16)
        copyPixels<short>(frame, values);
    else if (type == zt::DT_U32)
        copyPixels<unsigned int>(frame, values);
    else
        copyPixels<double>(frame, values);
}

} // namespace

int BHFilter::addMaskFromFrame(const zt::IMpxFrame* frame, double thickness, double acqTime) {
    if (!frame)
        return logError<int>(zt::ERR_INVALID_INPUT, "Frame cannot be null");
    if (frameSize != 0 && frame->size() != frameSize)
        return logError<int>(zt::ERR_INVALID_INPUT, "Dimensions of frame does not match");
    if (!isMaskType(frame->frameDataType()))
        return logError<int>(zt::ERR_INVALID_INPUT, "Cannot make a mask of a frame of data type %d",
                             int{frame->frameDataType()});

    const std::string name = str::format("Mask %d", static_cast<int>(maskList.size() + 1));
    const double time = acqTime == AUTO ? frame->acqTime() : acqTime;
    auto mask = std::make_unique<ThicknessMask>(name, frame->width(), frame->height(), time, thickness);
    mask->data.resize(frame->size());
    mask->tdiData.resize(frame->width());
    // Reading the pixels does not change them, but the interface is not const.
    copyPixels(const_cast<zt::IMpxFrame&>(*frame), mask->data.span(), frame->frameDataType());
    meanOfColumns(mask->data.span(), mask->height, mask->tdiData.span());
    maskList.push_back(std::move(mask));
    forgetOrder();
    frameSize = frame->size();
    return 0;
}

int BHFilter::addMaskFromFile(const char* path, double thickness, double acqTime) {
    const zt::FrameHolder frame(host->dataMgr()->loadFrame(path, 0));
    if (!frame)
        logError<int>(zt::ERR_CANNOT_READ, notLoaded, path);
    return addMaskFromFrame(frame.get(), thickness, acqTime);
}

int BHFilter::addMaskFromFiles(std::vector<std::string> files, double thickness, double acqTime) {
    zt::IDataMgr& frames = *host->dataMgr();
    FrameSum sum(frames);
    double totalTime = 0;
    for (const std::string& path : files) {
        if (!frames.isFrameFile(path.c_str()))
            continue;
        const zt::u32 count = frames.frameCountInFile(path.c_str());
        for (zt::u32 i = 0; i < count; ++i) {
            const zt::FrameHolder frame(frames.loadFrame(path.c_str(), i));
            if (!frame) {
                logError<int>(zt::ERR_CANNOT_READ, notLoaded, path.c_str());
                continue;
            }
            if (!sum.empty() && sum.frame()->size() != frame->size())
                return logError<int>(zt::ERR_INVALID_INPUT, sizesDiffer);
            const double time = acqTime == AUTO ? frame->acqTime() : acqTime;
            if (time == 0)
                return logError<int>(zt::ERR_INVALID_INPUT, noTime);
            sum.add(*frame.get());
            totalTime += time;
        }
    }
    return addMaskFromFrame(sum.frame(), thickness, totalTime);
}

int BHFilter::addMaskFromAcqData(double thickness) {
    if (dev->acqFrameCount() == 0)
        return logError<int>(zt::ERR_GENERIC, "No data measured.");
    const zt::FrameHolder sum(host->dataMgr()->createFrame(dev->width(), dev->height(), zt::DT_U32));
    if (!sum)
        return addMaskFromFrame(nullptr, thickness, AUTO);
    sum->clear();

    const zt::FrameHolder last(dev->lastAcqFrame());
    int subFrame = -1;
    if (last && last->subFrameCount() > 0) {
        const std::weak_ptr<const void> filterLife = lifetime();
        subFrame = askForSubFrame(*last.get(), "Select sub-frame for Beam-Hardening correction");
        if (filterLife.expired())
            return zt::ERR_GENERIC;
    }
    double totalTime = 0;
    for (int i = 0; i < dev->acqFrameCount(); ++i) {
        const zt::FrameHolder frame(dev->acqFrame(static_cast<zt::u32>(i)));
        if (!frame)
            continue;
        if (const int failure = addAcquired(*frame.get(), subFrame, *sum.get()))
            return failure;
        totalTime += frame->acqTime();
    }
    return addMaskFromFrame(sum.get(), thickness, totalTime);
}

int BHFilter::addAcquired(zt::IMpxFrame& frame, int subFrame, zt::IMpxFrame& sum) const {
    const std::vector<zt::IMpxFrame*> parts = frame.subFrames();
    const bool hasPart = subFrame >= 0 && static_cast<std::size_t>(subFrame) < parts.size();
    zt::IMpxFrame& taken = hasPart ? *parts[static_cast<std::size_t>(subFrame)] : frame;
    if (taken.size() != sum.size())
        return logError<int>(zt::ERR_INVALID_INPUT, sizesDiffer);
    sum.addFrame(&taken);
    return 0;
}

int BHFilter::removeMask(unsigned int index) {
    if (index >= maskList.size())
        return logError<int>(zt::ERR_INVALID_INPUT, "Cannot remove mask. Invalid index (%u >= %u)", index,
                             static_cast<unsigned int>(maskList.size()));
    maskList.erase(maskList.begin() + index);
    forgetOrder();
    if (maskList.empty())
        frameSize = 0;
    return 0;
}

int BHFilter::removeAllMasks() {
    maskList.clear();
    forgetOrder();
    frameSize = 0;
    return 0;
}

// A thickness of NaN sorts last.
void BHFilter::sortMasks() {
    std::ranges::stable_sort(maskList, [](const auto& a, const auto& b) {
        return a->thickness < b->thickness || (std::isnan(b->thickness) && !std::isnan(a->thickness));
    });
    forgetOrder();
}

void BHFilter::logarithmMasks() {
    for (const auto& mask : maskList) {
        if (mask->logarithmed)
            continue;
        if (mask->acqTime == 0) {
            logError<int>(zt::ERR_INVALID_INPUT, noTime);
            return;
        }
        replaceByLogarithm(mask->tdiData.span(), mask->acqTime);
        replaceByLogarithm(mask->data.span(), mask->acqTime);
        mask->logarithmed = true;
        forgetOrder();
    }
}

} // namespace PluginOmbrel
