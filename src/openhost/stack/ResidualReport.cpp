#include "stack/ResidualReport.h"

#include "base/Error.h"
#include "base/SizeText.h"
#include "frame/FrameFile.h"
#include "zt/DataType.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace ombrel {

namespace {

FramePtr readDoubles(FrameFile& file, zt::u32 index) {
    FramePtr frame = file.readFrame(index);
    frame->convertToType(zt::DT_DOUBLE);
    return frame;
}

void checkSameSize(const FrameFileInfo& one, const FrameFileInfo& other) {
    if (one.width != other.width || one.height != other.height)
        throw Error("the frames differ in size: " + one.path + " has " + sizeText(one.width, one.height) +
                    ", but " + other.path + " " + sizeText(other.width, other.height));
}

std::vector<bool> readMask(const std::string& path, const FrameFileInfo& frames) {
    if (path.empty())
        return std::vector<bool>(std::size_t{frames.width} * frames.height, true);
    const auto file = FrameFile::open(path);
    checkSameSize(frames, file->info());
    const FramePtr mask = readDoubles(*file, 0);
    std::vector<bool> counts;
    for (const double pixel : mask->pixels<double>())
        counts.push_back(pixel != 0);
    return counts;
}

std::optional<double> residualOf(std::span<const double> corrected, std::span<const double> raw,
                                 const std::vector<bool>& mask) {
    double sum = 0;
    double expected = 0;
    std::vector<double> values;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (!mask[i] || !(raw[i] > 0) || !std::isfinite(corrected[i]))
            continue;
        values.push_back(corrected[i]);
        sum += corrected[i];
        expected += 1 / raw[i];
    }
    if (values.empty())
        return std::nullopt;
    const double mean = sum / static_cast<double>(values.size());
    double squares = 0;
    for (const double value : values)
        squares += (value / mean - 1) * (value / mean - 1);
    return std::sqrt(squares / expected);
}

} // namespace

ResidualReport reportOnResidual(const std::string& correctedPath, const std::string& rawPath,
                                const std::string& maskPath) {
    const auto corrected = FrameFile::open(correctedPath, FrameRole::Sample);
    const auto raw = FrameFile::open(rawPath, FrameRole::Sample);
    checkSameSize(corrected->info(), raw->info());
    if (corrected->info().frames != raw->info().frames)
        throw Error(correctedPath + " has " + countText(corrected->info().frames, "frame") + ", but " +
                    rawPath + " " + std::to_string(raw->info().frames));
    const std::vector<bool> mask = readMask(maskPath, raw->info());

    ResidualReport report;
    double sum = 0;
    std::size_t counted = 0;
    for (zt::u32 i = 0; i < raw->info().frames; ++i) {
        const auto residual = residualOf(readDoubles(*corrected, i)->pixels<double>(),
                                         readDoubles(*raw, i)->pixels<double>(), mask);
        report.frames.push_back(residual);
        sum += residual.value_or(0);
        counted += residual ? 1 : 0;
        report.worst = std::max(report.worst, residual.value_or(0));
    }
    if (counted == 0)
        throw Error(correctedPath + ": no frame has a corrected pixel that counts");
    report.mean = sum / static_cast<double>(counted);
    return report;
}

} // namespace ombrel
