#include "stack/FileReport.h"

#include "base/NumberText.h"
#include "base/SizeText.h"
#include "frame/PixelType.h"
#include "zt/DataType.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <type_traits>
#include <vector>

namespace ombrel {

namespace {

template <typename T>
void addPixels(std::span<const T> pixels, PixelReport& report) {
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
        report.range.include(static_cast<double>(least));
        report.range.include(static_cast<double>(greatest));
    }
}

void addFrame(const Frame& frame, PixelReport& report) {
    report.isFloat = frame.frameDataType() == zt::DT_FLOAT;
    withPixelType(frame.frameDataType(), [&](auto pixel) {
        const auto bytes = frame.bytes();
        using T = decltype(pixel);
        addPixels(std::span(reinterpret_cast<const T*>(bytes.data()), bytes.size() / sizeof(T)), report);
    });
}

// Values of type T, which were widened to double.
template <typename T = double>
std::string rangeText(const ValueRange& range) {
    const std::string min = numberText(static_cast<T>(range.min));
    return range.min == range.max ? min : min + " to " + numberText(static_cast<T>(range.max));
}

std::string pixelRangeText(const PixelReport& report) {
    if (report.range.isEmpty())
        return "none";
    return report.isFloat ? rangeText<float>(report.range) : rangeText(report.range);
}

// Without an exponent for any time that a detector counts. Fifteen digits: what the conversion of a unit adds
// after them holds no information.
std::string secondsText(double seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%.15g", seconds);
    const double rounded = readNumber<double>(text).value_or(seconds);
    if (!(rounded >= 1e-9 && rounded < 1e9))
        return numberText(rounded);
    const auto [end, failed] = std::to_chars(text, text + sizeof text, rounded, std::chars_format::fixed);
    return std::string(text, end);
}

std::string timesText(const ValueRange& times) {
    const std::string shortest = secondsText(times.min);
    return (times.min == times.max ? shortest : shortest + " to " + secondsText(times.max)) + " s";
}

std::string runText(const RunState& run) {
    return std::to_string(run.framesDone) + " of " + countText(run.framesPlanned, "frame") + " done, " +
           std::to_string(run.framesFailed) + " failed, " + (run.complete ? "complete" : "not complete");
}

std::string kindsText(const FrameKinds& kinds) {
    return std::to_string(kinds.sample) + " of the sample, " + std::to_string(kinds.flat) + " flat, " +
           std::to_string(kinds.dark) + " dark";
}

std::string reportLine(const std::string& name, const std::string& value) {
    constexpr std::size_t column = 14;
    return "  " + name + std::string(column - name.size(), ' ') + value + '\n';
}

} // namespace

void ValueRange::include(double value) {
    min = isEmpty() ? value : std::min(min, value);
    max = std::max(max < min ? value : max, value);
}

FileReport reportOnFile(const FrameFile& file) {
    FileReport report{file.info(), {}};
    if (report.info.acqTime)
        for (zt::u32 frame = 0; frame < report.info.frames; ++frame)
            report.acqTimes.include(file.acqTime(frame));
    return report;
}

std::optional<PixelReport> reportOnPixels(FrameFile& file, const std::function<bool()>& frameDone) {
    PixelReport report;
    for (zt::u32 frame = 0; frame < file.info().frames; ++frame) {
        addFrame(*file.readFrame(frame), report);
        if (!frameDone())
            return std::nullopt;
    }
    return report;
}

std::string fileReportText(const FileReport& report) {
    const FrameFileInfo& info = report.info;
    std::string text = info.path + '\n';
    text += reportLine("kind", info.dataset.empty() ? info.format : info.format + ", " + info.dataset);
    text += reportLine("frames", std::to_string(info.frames));
    if (info.subFrames > 0)
        text += reportLine("sub-frames", std::to_string(info.subFrames) + " each");
    text += reportLine("size",
                       sizeText(info.width, info.height) + ", " + std::string(pixelTypeName(info.pixelType)));
    if (!report.acqTimes.isEmpty())
        text += reportLine("time", timesText(report.acqTimes));
    if (info.kinds)
        text += reportLine("marked", kindsText(*info.kinds));
    if (info.run)
        text += reportLine("run", runText(*info.run));
    return text;
}

std::string pixelReportText(const PixelReport& report) {
    std::string text = reportLine("range", pixelRangeText(report));
    if (report.nanPixels > 0)
        text += reportLine("not a number", countText(report.nanPixels, "pixel"));
    return text;
}

} // namespace ombrel
