#include "calibration/BadPixelCalibration.h"

#include "base/CommandPaths.h"
#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "frame/PixelFaults.h"
#include "frame/PreviewImage.h"
#include "run/RunPaths.h"
#include "stack/FrameStack.h"

#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace ombrel {

namespace {

constexpr double otherNoise = 0.05; // part by which the variance may differ from that of photons unmentioned

void checkPaths(const BadPixelOptions& options, Console& console) {
    CommandPaths paths;
    for (const std::string& flat : options.flats)
        addInput(paths, flat);
    for (const std::string& dark : options.darks)
        addInput(paths, dark);
    if (options.mask.isFile())
        addFrames(paths, options.mask.source, "the device mask");
    const auto whenThere = options.force ? WhenThere::Replace : WhenThere::Refuse;
    for (std::size_t i = 0; i < options.outputs.size(); ++i) {
        if (!isMaskPath(options.outputs[i]))
            throw UsageError("-o " + options.outputs[i] +
                             ": the name must end in .h5, .hdf5, .nxs, .tif, .tiff or .txt");
        paths.writes(options.outputs[i], i == 0 ? "the mask" : "mask " + std::to_string(i + 1), whenThere);
    }
    if (!options.picture.empty() && !options.picture.ends_with(".png"))
        throw UsageError("--picture " + options.picture +
                         ": a picture is written as PNG; the name must end in .png");
    if (!options.picture.empty())
        paths.writes(options.picture, "the picture", whenThere);
    paths.check(console, options.log);
}

std::vector<std::string> outputsOf(const BadPixelOptions& options) {
    std::vector<std::string> outputs = options.outputs;
    if (!options.picture.empty())
        outputs.push_back(options.picture);
    return outputs;
}

struct FaultColour {
    zt::u32 faults;
    QRgb colour;
};

// A pixel has the first colour whose faults it has.
constexpr FaultColour colours[] = {
    {fault::gap, qRgb(90, 90, 255)},      {fault::flickering, qRgb(255, 0, 255)},
    {fault::bursting, qRgb(255, 160, 0)}, {fault::notFinite, qRgb(255, 255, 255)},
    {fault::dead, qRgb(0, 120, 255)},     {fault::under, qRgb(0, 220, 220)},
    {fault::over, qRgb(255, 0, 0)},       {fault::noisy, qRgb(255, 255, 0)},
};

void writePicture(const std::string& path, const BadPixels& found) {
    QImage picture = greyImage(found.mean, found.width, robustLimits(found.mean));
    for (std::size_t i = 0; i < found.faults.size(); ++i) {
        if (found.faults[i] == 0)
            continue;
        const auto* const colour = std::ranges::find_if(colours, [&](const FaultColour& entry) {
            return (found.faults[i] & entry.faults) == entry.faults;
        });
        picture.setPixel(static_cast<int>(i % found.width), static_cast<int>(i / found.width),
                         colour == std::end(colours) ? qRgb(0, 255, 0) : colour->colour);
    }
    writePng(picture, path);
}

std::string percentText(double part) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %%", 100 * part);
    return text;
}

// What could not be judged, and what was assumed.
void warnAbout(const BadPixels& found, Console& console) {
    if (found.flats < leastFlatsForNoise)
        console.message(countText(found.flats, "flat field") +
                        ": noise is not judged, which takes at least " + std::to_string(leastFlatsForNoise));
    else if (found.flats < leastFlatsForKinds)
        console.message(
            countText(found.flats, "flat field") +
            ": flickering and bursting pixels count as noisy; distinguishing them takes at least " +
            std::to_string(leastFlatsForKinds));
    if (found.faint != 0)
        console.message(countText(found.faint, "pixel") + (found.faint == 1 ? " counts" : " count") +
                        " less than 20 a frame: noise is not judged there; use longer exposures");
    if (std::abs(found.noiseScale - 1) > otherNoise)
        console.message("the noise of this set is not that of photons: its variance is " +
                        percentText(found.noiseScale) + " of theirs, and pixels are compared with the set");
}

// Of all files that the command writes.
std::vector<OutputLock> lockedOutputs(const BadPixelOptions& options) {
    std::vector<OutputLock> locks;
    for (const std::string& output : outputsOf(options))
        locks.emplace_back(output, options.force);
    return locks;
}

std::string summaryOf(const BadPixels& found) {
    std::string text;
    for (const auto& [reason, count] : countFaults(found.faults))
        text += reason + std::string(18 - std::min<std::size_t>(17, reason.size()), ' ') +
                std::to_string(count) + '\n';
    const zt::u64 bad = countFaulty(found.faults);
    return text + "bad pixels        " + std::to_string(bad) + " of " + std::to_string(found.faults.size()) +
           " (" + percentText(static_cast<double>(bad) / static_cast<double>(found.faults.size())) + ")\n";
}

} // namespace

void calibrateBadPixels(const BadPixelOptions& options, Console& console) {
    checkPaths(options, console);
    const auto locks = lockedOutputs(options);
    FrameStack flats(options.flats, FrameRole::Flat);
    const auto darks =
        options.darks.empty() ? nullptr : std::make_unique<FrameStack>(options.darks, FrameRole::Dark);
    console.warning(flats.passedOver());
    if (darks)
        console.warning(darks->passedOver());
    const auto known = deviceMaskFor(options.mask, flats.info(0));
    if (known)
        console.note(maskNote(options.mask, *known));
    const zt::u64 passes = flats.frameCount() < leastFlatsForNoise ? 1 : 3;
    const Interrupt interrupt;
    Progress progress(console, passes * flats.frameCount() + (darks ? darks->frameCount() : 0),
                      options.quiet);
    const auto frameRead = [&] {
        progress.advance();
        if (Interrupt::requested())
            throw Error("interrupted; no mask was written");
    };
    const BadPixels found = findBadPixels(flats, darks.get(), known ? known->faults : std::vector<zt::u32>(),
                                          options.limits, frameRead);
    warnAbout(found, console);
    if (countFaulty(found.faults) == found.faults.size())
        throw Error(flats.where(0) + ": all pixels are bad; no mask was written");
    const PixelMask mask{found.width, found.height, found.faults, options.outputs.front()};
    for (const std::string& output : options.outputs)
        writePixelMask(output, mask);
    if (!options.picture.empty())
        writePicture(options.picture, found);
    console.result(summaryOf(found));
    std::string names;
    for (const std::string& output : outputsOf(options))
        names += (names.empty() ? "" : ", ") + output;
    console.message(countText(found.flats, "flat field") +
                    (darks ? " and " + countText(found.darks, "dark frame") : "") + ": " + names);
}

} // namespace ombrel
