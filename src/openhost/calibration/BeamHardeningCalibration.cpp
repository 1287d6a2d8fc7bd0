#include "calibration/BeamHardeningCalibration.h"

#include "base/Error.h"
#include "base/FileLock.h"
#include "base/NumberText.h"
#include "base/SizeText.h"
#include "calibration/ThicknessMasks.h"
#include "host/PrivateInterface.h"
#include "host/Session.h"
#include "run/RunPaths.h"
#include "settings/SettingsWriter.h"
#include "stack/FrameStack.h"
#include "zt/IBHFilter.h"

#include <cstdio>

namespace ombrel {

namespace {

std::vector<std::string> filesOf(const std::vector<ThicknessMask>& masks) {
    std::vector<std::string> files;
    for (const ThicknessMask& mask : masks)
        files.insert(files.end(), mask.files.begin(), mask.files.end());
    return files;
}

// A path of the host's own hands the sum over, so that frames of every pixel type make a mask.
void addMask(Session& session, IBHFilter& filter, const ThicknessMask& mask, MaskSum sum) {
    const std::string name = "<Mask of thickness " + numberText(mask.thickness) + ">";
    session.host().frames().defineFrame(name, std::move(sum.frame));
    const int code = filter.addMaskFromFile(name.c_str(), mask.thickness, sum.seconds);
    session.host().frames().undefine(name);
    if (code != 0)
        throw Error(mask.files.front() + ": gave no mask");
}

// A thicker mask lets more through when two were mixed up, or times differ from those that were told.
void warnOfBrighter(const ThicknessMask& mask, double rate, const ThicknessMask& before, double rateBefore,
                    Console& console) {
    char rates[64];
    std::snprintf(rates, sizeof rates, "%.6g against %.6g", rate, rateBefore);
    console.message("the mask of thickness " + numberText(mask.thickness) + " is no darker than that of " +
                    numberText(before.thickness) + " (" + rates + " counts a second); check files and times");
}

// Adds the masks in the order that they stand in, which has to be that of ascending thickness.
void addMasks(Session& session, IBHFilter& filter, const std::vector<ThicknessMask>& masks,
              const std::optional<double>& acqTime, Console& console) {
    double rateBefore = 0;
    for (std::size_t k = 0; k < masks.size(); ++k) {
        FrameStack stack(masks[k].files, FrameRole::Flat);
        MaskSum sum = sumFrames(stack, acqTime);
        const double rate = sum.countsPerSecond();
        if (k > 0 && rate >= rateBefore)
            warnOfBrighter(masks[k], rate, masks[k - 1], rateBefore, console);
        rateBefore = rate;
        addMask(session, filter, masks[k], std::move(sum));
    }
}

} // namespace

void calibrateBeamHardening(const BeamHardeningOptions& options, Console& console) {
    const std::vector<ThicknessMask> masks = parseThicknessMasks(options.masks);
    const std::vector<std::string> files = filesOf(masks);
    CommandPaths paths;
    for (const std::string& file : files)
        addInput(paths, file);
    addPlugin(paths, options.plugin);
    paths.writes(options.output, "the settings file", options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console, options.log);
    checkSettingsOutput(options.output);

    const OutputLock lock(options.output, options.force);
    FrameStack all(files, FrameRole::Flat);
    console.warning(all.unusedDarks());
    Session session(console, options.plugin, {1, all.width(), all.height()});
    FilterLink link = session.makeLink("Beam-hardening");
    IBHFilter& filter = privateInterface<IBHFilter>(link.filter(), beamHardeningObject);
    filter.setInterpolateBadPixelsEnabled(!options.noInterpolation);
    filter.setUseZeroPixelsAsBad(options.zeroAsBad);
    addMasks(session, filter, masks, options.acqTime, console);

    const auto store = session.host().openSettings(options.output);
    link.filter().saveToSettings(store.get());
    writeSettingsFile(store->contents(), options.output);
    if (masks.size() == 1)
        console.message("one mask alone gives no thickness: pixels brighter than it become 0, and the others "
                        "the logarithm of their counts a second; give another --mask");
    console.message(countText(masks.size(), "mask") + " of " + countText(all.frameCount(), "frame") + ": " +
                    options.output);
}

} // namespace ombrel
