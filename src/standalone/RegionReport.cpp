#include "standalone/RegionReport.h"

#include "host/DataType.h"
#include "standalone/Error.h"
#include "standalone/FrameFile.h"

#include <cmath>
#include <vector>

namespace ombrel {

namespace {

std::vector<double> pixelsOf(Frame& frame, const Region& region) {
    frame.convertToType(zt::DT_DOUBLE);
    const auto all = frame.pixels<double>();
    std::vector<double> pixels;
    for (zt::u32 y = region.y; y < region.y + region.height; ++y)
        for (const double pixel : all.subspan(std::size_t{y} * frame.width() + region.x, region.width))
            if (std::isfinite(pixel))
                pixels.push_back(pixel);
    return pixels;
}

double meanOf(const std::vector<double>& pixels) {
    double sum = 0;
    for (const double pixel : pixels)
        sum += pixel;
    return sum / static_cast<double>(pixels.size());
}

double deviationOf(const std::vector<double>& pixels, double mean) {
    double squares = 0;
    for (const double pixel : pixels)
        squares += (pixel - mean) * (pixel - mean);
    return std::sqrt(squares / static_cast<double>(pixels.size()));
}

} // namespace

RegionReport reportOnRegion(const std::string& path, const Region& region) {
    const auto file = FrameFile::open(path, FrameRole::Sample);
    const FrameFileInfo& info = file->info();
    if (zt::u64{region.x} + region.width > info.width || zt::u64{region.y} + region.height > info.height)
        throw Error(path + ": the region reaches beyond the frames of " + std::to_string(info.width) + " x " +
                    std::to_string(info.height));
    RegionReport report;
    zt::u32 counted = 0;
    for (zt::u32 i = 0; i < info.frames; ++i) {
        const std::vector<double> pixels = pixelsOf(*file->readFrame(i), region);
        if (pixels.empty())
            continue;
        const double mean = meanOf(pixels);
        report.mean += mean;
        report.spread += deviationOf(pixels, mean) / mean;
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
