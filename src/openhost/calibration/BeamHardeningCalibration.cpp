#include "calibration/BeamHardeningCalibration.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"
#include "host/Session.h"
#include "run/RunPaths.h"
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"
#include "stack/FrameStack.h"
#include "zt/IPrivateFilters.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace ombrel {

namespace {

std::vector<std::string> splitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', begin)) {
        parts.push_back(text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

ThicknessMask parseThicknessMask(const std::string& text, const MaskWords& words) {
    const auto equals = text.find('=');
    const auto thickness = readNumber<double>(text.substr(0, equals));
    if (equals == std::string::npos || !thickness || !std::isfinite(*thickness))
        throw UsageError(words.option + " " + text + ": not of the form " + words.value + "=FILE[,FILE...]");
    ThicknessMask mask{*thickness, splitAtCommas(text.substr(equals + 1))};
    if (std::ranges::find(mask.files, "") != mask.files.end())
        throw UsageError(words.option + " " + text + ": a file has no name; write " + words.value +
                         "=FILE[,FILE...]");
    return mask;
}

double timeOf(const Frame& frame, const std::string& where) {
    const double time = frame.acqTime();
    if (time == 0)
        throw Error(where + ": Acquisition time cannot be zero; give --acq-time SECONDS");
    if (!(time > 0) || std::isinf(time))
        throw Error(where + ": the acquisition time of " + numberText(time) +
                    " s is invalid; give --acq-time SECONDS");
    return time;
}

} // namespace

std::vector<ThicknessMask> parseThicknessMasks(const std::vector<std::string>& texts,
                                               const MaskWords& words) {
    std::vector<ThicknessMask> masks;
    for (const std::string& text : texts)
        masks.push_back(parseThicknessMask(text, words));
    std::ranges::stable_sort(masks, {}, &ThicknessMask::thickness);
    const auto twice = std::ranges::adjacent_find(masks, {}, &ThicknessMask::thickness);
    if (twice != masks.end()) {
        const std::string thickness = numberText(twice->thickness);
        throw UsageError(words.option + " " + thickness + "=... is given twice; write " + words.option + " " +
                         thickness + "=FILE,FILE for files that belong together");
    }
    return masks;
}

double MaskSum::countsPerSecond() const {
    double sum = 0;
    std::size_t count = 0;
    for (const double pixel : std::as_const(*frame).pixels<double>())
        if (std::isfinite(pixel)) {
            sum += pixel;
            ++count;
        }
    return count == 0 ? 0 : sum / static_cast<double>(count) / seconds;
}

namespace {

std::vector<std::string> filesOf(const std::vector<ThicknessMask>& masks) {
    std::vector<std::string> files;
    for (const ThicknessMask& mask : masks)
        files.insert(files.end(), mask.files.begin(), mask.files.end());
    return files;
}

WhenThere whenThere(const CalibrateOptions& options) {
    return options.force ? WhenThere::Replace : WhenThere::Refuse;
}

// Returns the files.
std::vector<std::string> checkedFiles(const MaskCalibrateOptions& options, std::vector<std::string> files,
                                      Console& console) {
    checkInspection(options.inspection);
    CommandPaths paths;
    for (const std::string& file : files)
        addInput(paths, file);
    addDarkFile(paths, options.dark);
    addPlugin(paths, options.plugin);
    paths.writes(options.output, "the settings file", whenThere(options));
    addInspectionPaths(paths, options.inspection, whenThere(options));
    paths.check(console, options.log);
    checkSettingsOutput(options.output);
    return files;
}

} // namespace

MaskCalibration::MaskCalibration(const MaskCalibrateOptions& calibrateOptions,
                                 const std::vector<ThicknessMask>& masks, Console& console)
    : options(calibrateOptions), files(checkedFiles(options, filesOf(masks), console)),
      lock(options.output, options.force), all(files, FrameRole::Flat),
      session(console, options.plugin, {1, all.width(), all.height()}),
      link(session.makeLink("Beam-hardening")),
      beamHardening(filterInterface<IBHFilter>(link.filter(), beamHardeningObject)),
      judged(options.inspection, console) {
    console.warning(all.passedOver());
    dark = measureDark(options.dark, files, judged);
    if (dark) {
        transfer = PhotonTransfer(&*dark);
        checkDarkSize(*dark, all.width(), all.height(), files.front());
        console.warning(darkTimeNote(*dark, options.acqTime.value_or(all.acqTime(0)), files.front()));
    }
    beamHardening.setInterpolateBadPixelsEnabled(!options.noInterpolation);
}

MaskSum MaskCalibration::measure(const ThicknessMask& mask, const std::string& noun) {
    FrameStack stack(mask.files, FrameRole::Flat);
    const auto good = judged.judge(fieldSetOf(stack, "frames of " + noun + " " + numberText(mask.thickness)));
    MaskSum sum{Frame::create(stack.width(), stack.height(), zt::DT_DOUBLE), 0, mask.files.front(),
                good.size()};
    for (const std::size_t i : good) {
        const FramePtr frame = stack.readFrame(i);
        sum.seconds += options.acqTime ? *options.acqTime : timeOf(*frame, stack.where(i));
        if (dark)
            frame->subtract(dark->mean);
        transfer.add(*frame);
        sum.frame->addFrame(frame.get());
    }
    transfer.endSet();
    return sum;
}

void MaskCalibration::endInspection() {
    judged.finish();
}

// The sum gets a path known only to the host, so that frames of every pixel type can make a mask.
void MaskCalibration::add(double thickness, MaskSum sum) {
    const std::string name = "<Mask of " + numberText(thickness) + ">";
    session.host().frames().defineFrame(name, std::move(sum.frame));
    if (sum.frames > 0)
        facts.maskFrames.push_back(static_cast<double>(sum.frames));
    const int code = beamHardening.addMaskFromFile(name.c_str(), thickness, sum.seconds);
    session.host().frames().undefine(name);
    if (code != 0)
        throw Error((sum.file.empty() ? "" : sum.file + ": ") + "the filter returned no mask for " +
                    numberText(thickness));
}

namespace {

// See CalibrationFacts::maskCorrection.
std::string correctionOf(const FrameStack& stack) {
    const auto ofFile = [](const FrameFileInfo& info) -> std::string {
        if (!info.run)
            return {};
        const auto output = FrameOutput::stateOf(splitDatasetPath(info.path).file);
        const auto chain =
            output ? RunRecord::fromJson(output->plan.record).chain : std::vector<LinkRecord>();
        const bool isFlatField = chain.size() == 1 && chain[0].filter == "Flat-Field" && chain[0].settings;
        return isFlatField ? chain[0].settings->hash : "other";
    };
    const std::string first = ofFile(stack.info(0));
    for (std::size_t file = 1; file < stack.fileCount(); ++file)
        if (ofFile(stack.info(file)) != first)
            return "several";
    return first;
}

} // namespace

void MaskCalibration::save() {
    const auto store = session.host().openSettings(options.output);
    link.filter().saveToSettings(store.get());
    SettingsTree settings = store->contents();
    facts.maskCorrection = correctionOf(all);
    if (facts.maskCorrection.empty())
        facts.gain = transfer.gain();
    facts.dark = dark;
    noteFacts(settings, facts);
    judged.note(settings);
    writeSettingsFile(settings, options.output);
}

namespace {

// A thicker mask is brighter if two masks were mixed up, or if the given times are wrong.
void warnOfBrighter(const ThicknessMask& mask, double rate, const ThicknessMask& before, double rateBefore,
                    Console& console) {
    char rates[64];
    std::snprintf(rates, sizeof rates, "%.6g against %.6g", rate, rateBefore);
    console.message("the mask of thickness " + numberText(mask.thickness) + " is not darker than that of " +
                    numberText(before.thickness) + " (" + rates + " counts a second); check files and times");
}

// Adds the masks in their order, which must be that of ascending thickness.
void addMasks(MaskCalibration& calibration, const std::vector<ThicknessMask>& masks, Console& console) {
    double rateBefore = 0;
    for (std::size_t k = 0; k < masks.size(); ++k) {
        MaskSum sum = calibration.measure(masks[k], "thickness");
        const double rate = sum.countsPerSecond();
        if (k > 0 && rate >= rateBefore)
            warnOfBrighter(masks[k], rate, masks[k - 1], rateBefore, console);
        rateBefore = rate;
        calibration.add(masks[k].thickness, std::move(sum));
    }
}

} // namespace

void calibrateBeamHardening(const BeamHardeningOptions& options, Console& console) {
    const std::vector<ThicknessMask> masks = parseThicknessMasks(options.masks);
    MaskCalibration calibration(options, masks, console);
    calibration.filter().setUseZeroPixelsAsBad(options.zeroAsBad);
    addMasks(calibration, masks, console);
    calibration.endInspection();
    calibration.save();
    if (masks.size() == 1)
        console.message("a single mask cannot give thicknesses: brighter pixels become 0, and the others "
                        "the logarithm of their counts a second; give another --mask");
    console.message(countText(masks.size(), "mask") + " of " + calibration.inspection().countText("frame") +
                    ": " + options.output);
}

} // namespace ombrel
