#include "frame/Statistics.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/Frame.h"
#include "frame/PixelDigest.h"
#include "frame/PixelType.h"
#include "zt/Types.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

FrameStatistics figuresOf(const Frame& frame) {
    PixelFigures figures(frame.frameDataType());
    figures.add(frame.bytes());
    return figures.result();
}

void checkRegion(const Region& region, const FrameFileInfo& info) {
    if (region.width == 0 || region.height == 0)
        throw UsageError(info.path + ": the region holds no pixel");
    if (zt::u64{region.x} + region.width > info.width || zt::u64{region.y} + region.height > info.height)
        throw UsageError(info.path + ": the region reaches beyond the frames of " +
                         sizeText(info.width, info.height));
}

std::vector<double> doublesOf(const Frame& frame) {
    std::vector<double> pixels(frame.size());
    convertPixels(frame.bytes().data(), frame.frameDataType(), reinterpret_cast<std::byte*>(pixels.data()),
                  zt::DT_DOUBLE, pixels.size());
    return pixels;
}

std::vector<double> pixelsOf(Frame& frame, const Region& region) {
    frame.convertToType(zt::DT_DOUBLE);
    const auto all = frame.pixels<double>();
    std::vector<double> pixels;
    for (zt::u32 y = region.y; y < region.y + region.height; ++y) {
        const auto row = all.subspan(std::size_t{y} * frame.width() + region.x, region.width);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

Uniformity uniformityOf(std::vector<double> pixels) {
    std::erase_if(pixels, [](double pixel) { return !std::isfinite(pixel); });
    if (pixels.empty())
        return {notANumber, notANumber};
    const double mean = meanOf(pixels);
    double squares = 0;
    for (const double pixel : pixels)
        squares += (pixel - mean) * (pixel - mean);
    return {mean, std::sqrt(squares / static_cast<double>(pixels.size())) / mean};
}

RegionReport reportOnRegion(const std::string& path, const Region& region) {
    const auto file = FrameFile::open(path, FrameRole::Sample);
    const FrameFileInfo& info = file->info();
    checkRegion(region, info);
    RegionReport report;
    zt::u32 counted = 0;
    for (zt::u32 i = 0; i < info.frames; ++i) {
        const Uniformity frame = uniformityOf(pixelsOf(*file->readFrame(i), region));
        if (std::isnan(frame.mean))
            continue;
        report.mean += frame.mean;
        report.spread += frame.spread;
        ++counted;
    }
    if (counted == 0)
        throw Error(path + ": the region holds no finite pixel in any frame");
    report.mean /= counted;
    report.spread /= counted;
    report.statistics = 1 / std::sqrt(report.mean);
    return report;
}

} // namespace ombrel
