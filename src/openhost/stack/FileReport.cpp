#include "stack/FileReport.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/PixelFaults.h"
#include "frame/PixelType.h"
#include "metadata/Metadata.h"
#include "stack/InputFiles.h"
#include "stack/PixelMask.h"
#include "zt/Types.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <span>
#include <type_traits>
#include <vector>

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
        throw Error(correctedPath + ": no frame has a usable corrected pixel");
    report.mean = sum / static_cast<double>(counted);
    return report;
}

namespace {

template <typename T>
void addPixels(std::span<const T> pixels, PixelReport& report) {
    T least = pixels[0];
    T greatest = pixels[0];
    zt::u64 nans = 0;
    for (const T pixel : pixels) {
        if constexpr (std::is_floating_point_v<T>)
            nans += std::isnan(pixel) ? 1 : 0;
        // A NaN at the start is replaced, and later ones fail each comparison.
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

// The values have type T, but were widened to double.
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

// Never with an exponent for times of detectors. Fifteen digits: further ones are only rounding errors of the
// conversion of units.
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

// "3 pixels (dead 1, noisy 2, filled 3)"
std::string touchedText(std::span<const zt::u32> touched) {
    std::string reasons;
    for (const auto& [reason, count] : countFaults(touched))
        reasons += (reasons.empty() ? " (" : ", ") + reason + ' ' + std::to_string(count);
    return countText(countFaulty(touched), "pixel") + (reasons.empty() ? "" : reasons + ')');
}

// "/exchange/theta, /measurement/title and 12 more"
std::string metadataText(const std::vector<std::string>& paths) {
    constexpr std::size_t mostNamed = 4;
    std::string text;
    for (std::size_t i = 0; i < std::min(paths.size(), mostNamed); ++i)
        text += (i == 0 ? "" : ", ") + paths[i];
    return text +
           (paths.size() > mostNamed ? " and " + std::to_string(paths.size() - mostNamed) + " more" : "");
}

// "transmission, level 3469.6"
std::string quantityText(const OutputPlan& plan) {
    return plan.quantity + (plan.level ? ", level " + sixDigits(*plan.level) : "");
}

// What `ombrel run` does with the file.
std::string runUse(const FileReport& report) {
    const FrameFileInfo& info = report.info;
    const zt::u32 frames = info.kinds ? info.kinds->sample : info.frames;
    std::string text = countText(frames, "frame") + (info.kinds ? " of the sample" : "");
    if (info.kinds && info.kinds->dark > 0)
        text += ", " + countText(info.kinds->dark, "dark") + " if calibrated with them";
    if (report.masked)
        text += ", a mask of " + countText(*report.masked, "pixel");
    return text;
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

namespace {

// A mask that cannot be read is reported by the run.
std::optional<zt::u64> maskedPixels(const FrameFileInfo& info) {
    try {
        if (const auto mask = deviceMaskFor({}, info))
            return mask->masked();
    } catch (const Error&) {
    }
    return std::nullopt;
}

// An output that is being written, or of another version, is described without it.
void addOutput(FileReport& report, const std::string& path) {
    try {
        if (const auto state = FrameOutput::stateOf(path)) {
            report.output = state->plan;
            report.record = RunRecord::fromJson(state->plan.record);
        }
    } catch (const Error&) {
    }
}

// Of the frames that a run uses; nothing if it uses none.
std::vector<std::string> metadataFor(const FrameFileInfo& info) {
    if (isFileSeries(info.path))
        return {};
    try {
        const auto frames = FrameFile::open(info.path, FrameRole::Sample)->info().frames;
        return metadataOf({info.path, 0, frames});
    } catch (const Error&) {
        return {};
    }
}

} // namespace

FileReport reportOnFile(const FrameFile& file) {
    FileReport report;
    report.info = file.info();
    if (report.info.acqTime)
        for (zt::u32 frame = 0; frame < report.info.frames; ++frame)
            report.acqTimes.include(file.acqTime(frame));
    const std::string path = splitDatasetPath(report.info.path).file;
    if (report.info.run) {
        report.touched = FrameOutput::touchedIn(path);
        addOutput(report, path);
    } else {
        report.masked = maskedPixels(report.info);
    }
    report.metadata = metadataFor(report.info);
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
    if (info.packing)
        text += reportLine("stored", std::string(info.packing->typeName()) +
                                         ", value = " + numberText(info.packing->scale) + " * stored + " +
                                         numberText(info.packing->offset));
    if (!report.acqTimes.isEmpty())
        text += reportLine("time", timesText(report.acqTimes));
    if (info.kinds)
        text += reportLine("marked", kindsText(*info.kinds));
    if (info.run)
        text += reportLine("run", runText(*info.run));
    if (report.output && !report.output->quantity.empty())
        text += reportLine("quantity", quantityText(*report.output));
    if (report.record && !report.record->darkHash.empty())
        text += reportLine("dark", "subtracted, with the hash " + report.record->darkHash);
    if (!info.passedOver.empty())
        text += "  " + info.passedOver + '\n';
    if (!report.touched.empty())
        text += reportLine("touched", touchedText(report.touched));
    if (!info.maskDataset.empty())
        text += reportLine("mask", info.maskDataset);
    if (!report.metadata.empty())
        text += reportLine("metadata", metadataText(report.metadata));
    if (!info.run)
        text += reportLine("run uses", runUse(report));
    if (info.kinds && info.kinds->flat > 0)
        text += reportLine("calibration", "uses " + countText(info.kinds->flat, "flat field") + " and " +
                                              countText(info.kinds->dark, "dark field"));
    return text;
}

std::string pixelReportText(const PixelReport& report) {
    std::string text = reportLine("range", pixelRangeText(report));
    if (report.nanPixels > 0)
        text += reportLine("not a number", countText(report.nanPixels, "pixel"));
    return text;
}

} // namespace ombrel
