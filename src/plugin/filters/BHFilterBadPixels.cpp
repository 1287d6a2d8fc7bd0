// The beam-hardening filter's mask of bad pixels, and their interpolation.
#include "filters/BHFilter.h"
#include "kernels/BadPixelMask.h"
#include "support/BinaryFile.h"
#include "support/MatrixFile.h"
#include "zt/DataBuff.h"
#include "zt/FrameHolder.h"
#include "zt/Types.h"

#include <algorithm>

namespace PluginOmbrel {

namespace {

constexpr const char* sizesDiffer = "Cannot interpolate bad pixels - frame dimensions do not match";
constexpr std::size_t valuesPerLine = 256; // without masks the width is unknown

// Values must fall from each mask to the next.
void markNotFalling(std::span<const double> before, std::span<const double> values,
                    std::span<unsigned char> bad) {
    for (std::size_t i = 0; i < bad.size(); ++i)
        bad[i] |= values[i] >= before[i] ? 1 : 0;
}

} // namespace

int BHFilter::generateBadPixels() {
    if (maskList.empty()) {
        badPixels.resize(0);
        return 0;
    }
    const ThicknessMask& first = *maskList.front();
    const std::size_t size = first.data.size();
    const std::size_t width = tdiOn ? first.width : size;
    Buffer<double> ThicknessMask::*const table = tdiOn ? &ThicknessMask::tdiData : &ThicknessMask::data;
    if (maskList.size() > 1)
        if (const int failure = checkTables(table, tdiOn ? std::max<std::size_t>(width, 1) : width))
            return failure;
    badPixels.resize(size);
    std::ranges::fill(badPixels.span(), static_cast<unsigned char>(0));
    for (std::size_t k = 1; k < maskList.size(); ++k)
        for (std::size_t row = 0; row < size; row += width)
            markNotFalling(((*maskList[k - 1]).*table).span(), ((*maskList[k]).*table).span(),
                           badPixels.span().subspan(row, std::min(width, size - row)));
    return 0;
}

int BHFilter::loadBadPixelsFromFile(const char* path) {
    zt::IDataMgr& frames = *host->dataMgr();
    if (!frames.isFrameFile(path))
        return loadBadPixelMatrix(path);
    const zt::FrameHolder frame(frames.loadFrame(path, 0));
    if (!frame)
        return logError<int>(zt::ERR_CANNOT_READ, "Cannot load frame file.");
    if (frameSize == 0)
        frameSize = frame->size();
    if (frame->size() != frameSize)
        return logError<int>(zt::ERR_CANNOT_READ, "Bad pixel frame dimensions dont match BH masks");
    zt::DataBuff<unsigned char> bytes;
    frame->getData(&bytes, zt::DT_U8);
    badPixels.resize(bytes.size());
    std::copy_n(bytes.data(), bytes.size(), badPixels.data());
    return 0;
}

// Values are stored as they are read: a file that ends early overwrites only as many of the present bad
// pixels as it has values; if these had a different size, the rest are good. A file that cannot be opened
// changes only the size.
int BHFilter::loadBadPixelMatrix(const char* path) {
    if (frameSize == 0)
        frameSize = dev->pixelCount();
    Buffer<unsigned char> table;
    table.resize(frameSize);
    if (badPixels.size() == frameSize)
        std::ranges::copy(badPixels.span(), table.data());
    else
        std::ranges::fill(table.span(), static_cast<unsigned char>(0));
    const int result = readAsciiMatrix(path, ::DT_U8, table.size(), table.data());
    if (result != FILE_NOT_OPENED)
        badPixels.swap(table);
    if (result != 0)
        return logError(result, "Cannot load bad pixels from file %s. Error %d", path, result);
    return 0;
}

int BHFilter::saveBadPixelsToFile(const char* path) {
    const bool hasWidth = !maskList.empty() && maskList.front()->width != 0;
    const int result = writeAsciiMatrix(path, ::DT_U8, badPixels.data(), badPixels.size(),
                                        hasWidth ? maskList.front()->width : valuesPerLine, false);
    if (result != 0)
        return logError(result, "Cannot save bad pixels to file %s. Error %d", path, result);
    return 0;
}

int BHFilter::interpolateBadPixels(zt::IMpxFrame* frame) {
    if (frame->frameDataType() != zt::DT_DOUBLE)
        return logError<int>(zt::ERR_INVALID_INPUT,
                             "Cannot interpolate bad pixels - frame is not of type double");
    if (frame->size() != frameSize)
        return logError<int>(zt::ERR_INVALID_INPUT, sizesDiffer);
    if (badPixels.size() < frameSize)
        if (const int failure = generateBadPixels())
            return failure;
    if (badPixels.size() < frameSize)
        return logError<int>(zt::ERR_INVALID_INPUT, sizesDiffer);

    makeWorkMask();
    zt::RefDataBuff<double> pixels;
    frame->refData(&pixels, 0.0);
    markBadPixels({pixels.data(), pixels.size()});
    const FrameSize shape{frame->width(), frame->height()};
    if (fills.repeat(pixels.data(), marks, shape))
        return 0;
    fills.forget();
    marks.setMarked(workMask.span());
    const std::size_t count = marks.count();
    if (count > frameSize / 2)
        return logError<int>(zt::ERR_CANNOT_CORRECT, "Too many bad pixels (%llu) to interpolate.",
                             static_cast<unsigned long long>(count));
    if (frame->height() != 0)
        fills.fill(pixels.data(), workMask.data(), marks, shape);
    return 0;
}

// Codes of earlier frames are kept: pixels filled then count as known.
void BHFilter::makeWorkMask() {
    const bool isNew = workMask.capacity() < badPixels.size();
    const bool isResized = workMask.size() != badPixels.size();
    workMask.resize(badPixels.size());
    if (isNew || isResized)
        fills.forget();
    if (isNew)
        std::ranges::fill(workMask.span(), static_cast<unsigned char>(0));
}

void BHFilter::markBadPixels(std::span<const double> pixels) {
    marks.assignNonZero(badPixels.span().first(pixels.size()));
    if (useZeroAsBad)
        addZeroValues(pixels, marks);
}

} // namespace PluginOmbrel
