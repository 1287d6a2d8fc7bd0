#include "frame/RegionReport.h"

#include "base/Error.h"
#include "base/Mean.h"

#include <cmath>
#include <vector>

namespace ombrel {

namespace {

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
    checkRegion(region, info);
    RegionReport report;
    zt::u32 counted = 0;
    for (zt::u32 i = 0; i < info.frames; ++i) {
        std::vector<double> pixels = pixelsOf(*file->readFrame(i), region);
        std::erase_if(pixels, [](double pixel) { return !std::isfinite(pixel); });
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
