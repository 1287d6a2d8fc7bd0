#include "standalone/FileReport.h"

#include "host/DataType.h"
#include "standalone/NumberText.h"
#include "standalone/PixelType.h"
#include "standalone/SizeText.h"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

namespace ombrel {

namespace {

template <typename T>
void addPixels(std::span<const T> pixels, FileReport& report) {
    T least = pixels[0];
    T greatest = pixels[0];
    zt::u64 nans = 0;
    for (const T pixel : pixels) {
        if constexpr (std::is_floating_point_v<T>)
            nans += std::isnan(pixel) ? 1 : 0;
        // A NaN at the start is replaced, and later ones lose each comparison.
        least = pixel < least || least != least ? pixel : least;
        greatest = pixel > greatest || greatest != greatest ? pixel : greatest;
    }
    report.nanPixels += nans;
    if (nans < pixels.size()) {
        report.pixels.include(static_cast<double>(least));
        report.pixels.include(static_cast<double>(greatest));
    }
}

void addImage(const FrameFileInfo& info, std::span<const std::byte> image, FileReport& report) {
    withPixelType(info.pixelType, [&](auto pixel) {
        using T = decltype(pixel);
        addPixels(std::span(reinterpret_cast<const T*>(image.data()), image.size() / sizeof(T)), report);
    });
}

// Values of type T, which were widened to double.
template <typename T = double>
std::string rangeText(const ValueRange& range) {
    const std::string min = numberText(static_cast<T>(range.min));
    return range.min == range.max ? min : min + " to " + numberText(static_cast<T>(range.max));
}

std::string pixelRangeText(const FileReport& report) {
    if (report.pixels.isEmpty())
        return "none";
    return report.info.pixelType == zt::DT_FLOAT ? rangeText<float>(report.pixels) : rangeText(report.pixels);
}

std::string runText(const RunState& run) {
    return std::to_string(run.framesDone) + " of " + std::to_string(run.framesPlanned) + " frames done, " +
           std::to_string(run.framesFailed) + " failed, " + (run.complete ? "complete" : "not complete");
}

std::string kindsText(const FrameKinds& kinds) {
    return std::to_string(kinds.sample) + " of the sample, " + std::to_string(kinds.flat) + " flat, " +
           std::to_string(kinds.dark) + " dark";
}

} // namespace

void ValueRange::include(double value) {
    min = isEmpty() ? value : std::min(min, value);
    max = std::max(max < min ? value : max, value);
}

FileReport reportOnFile(const std::string& path) {
    const auto file = FrameFile::open(path);
    FileReport report{file->info(), {}, 0, {}};
    const FrameFileInfo& info = report.info;
    std::vector<std::byte> image(std::size_t{info.width} * info.height * pixelSize(info.pixelType));
    for (zt::u32 frame = 0; frame < info.frames; ++frame) {
        for (zt::u32 subFrame = 0; subFrame < std::max(info.subFrames, 1U); ++subFrame) {
            file->readImage(frame, subFrame, image);
            addImage(info, image, report);
        }
        if (info.acqTime)
            report.acqTimes.include(file->acqTime(frame));
    }
    return report;
}

std::string fileReportText(const FileReport& report) {
    const FrameFileInfo& info = report.info;
    std::string text = info.path + '\n';
    const auto line = [&](const std::string& name, const std::string& value) {
        constexpr std::size_t column = 14;
        text += "  " + name + std::string(column - name.size(), ' ') + value + '\n';
    };
    line("kind", info.dataset.empty() ? info.format : info.format + ", " + info.dataset);
    line("frames", std::to_string(info.frames));
    if (info.subFrames > 0)
        line("sub-frames", std::to_string(info.subFrames) + " each");
    line("size", sizeText(info.width, info.height) + ", " + std::string(pixelTypeName(info.pixelType)));
    line("range", pixelRangeText(report));
    if (report.nanPixels > 0)
        line("not a number", std::to_string(report.nanPixels) + " pixels");
    if (!report.acqTimes.isEmpty())
        line("time", rangeText(report.acqTimes) + " s");
    if (info.kinds)
        line("marked", kindsText(*info.kinds));
    if (info.run)
        line("run", runText(*info.run));
    return text;
}

} // namespace ombrel
