#include "calibration/AdaptiveCalibration.h"

#include "base/CsvTable.h"
#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "base/TrialFolder.h"
#include "calibration/AdaptiveSettings.h"
#include "calibration/AdaptiveTuning.h"
#include "calibration/CalibrationHeap.h"
#include "host/Device.h"
#include "run/RunPaths.h"
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace ombrel {

namespace {

constexpr double levelsDiffer = 1.02;

GridPoint parseHole(const std::string& text) {
    const auto fields = splitCsvLine(text);
    std::vector<float> values;
    for (const std::string& field : fields.value_or(std::vector<std::string>()))
        if (const auto value = readNumber<float>(field); value && std::isfinite(*value))
            values.push_back(*value + 0.0f); // not -0
    if (values.size() != 3 || fields->size() != 3)
        throw UsageError("--hole " + text + ": not a grid point; write V,T,E, three numbers");
    return {values[0], values[1], values[2]};
}

std::vector<GridPoint> parseHoles(const std::vector<std::string>& texts) {
    std::vector<GridPoint> holes;
    std::ranges::transform(texts, std::back_inserter(holes), parseHole);
    return holes;
}

CalibrationGrid gridOf(const AdaptiveOptions& options, const std::vector<GridRow>& rows,
                       const std::vector<GridPoint>& holes) {
    std::vector<GridPoint> points;
    std::ranges::transform(rows, std::back_inserter(points), &GridRow::point);
    try {
        return {points, holes};
    } catch (const Error& error) {
        throw Error(options.grid + ": " + error.what());
    }
}

void warnAbout(const AdaptiveHeaps& heaps, const CalibrationGridFlats& flats, bool normalised,
               Console& console) {
    console.warning(flats.unusedDarks());
    if (heaps.singleFrames() != 0)
        console.message(countText(heaps.singleFrames(), "grid point") +
                        (heaps.singleFrames() == 1 ? " has" : " have") +
                        " a single frame, which is also its own flat field: the results for it are better "
                        "than those for other frames");
    if (heaps.levelRatio() > levelsDiffer && !normalised) {
        char text[160];
        std::snprintf(text, sizeof text,
                      "the means of the flat fields differ by a factor of %.2f, which favours the brighter "
                      "ones; --normalise divides each by its mean",
                      heaps.levelRatio());
        console.message(text);
    }
}

// The number of frames that pass the filter during all trials.
zt::u64 trialFrames(const AdaptiveHeaps& heaps, const AdaptiveChoices& choices, bool triesInterpolation) {
    return heaps.tests().size() * (choices.count() + searchKinds) +
           (triesInterpolation ? heaps.testsBetween().size() * interpolationKinds : 0);
}

struct TunePlan {
    const AdaptiveHeaps& heaps;
    const AdaptiveHeapPaths& paths;
    SettingsTree settings;
    std::set<std::string> fixed; // keys that keep their value
    zt::u32 shortSide;
};

SettingsTree tune(const TunePlan& plan, Session& session, const AdaptiveOptions& options, Console& console) {
    const AdaptiveChoices choices(plan.settings, plan.fixed, plan.shortSide);
    const bool triesInterpolation =
        !plan.heaps.testsBetween().empty() && !plan.fixed.contains("Interpolation");
    Progress progress(console, trialFrames(plan.heaps, choices, triesInterpolation), options.quiet);
    AdaptiveTrial trial(session, [&] { progress.advance(); });
    AdaptiveTuner tuner(trial, console);

    const TrialSet set{plan.paths.trial, plan.heaps.tests()};
    SettingsTree settings = tuner.chooseQuality(set, plan.settings, choices);
    if (triesInterpolation)
        settings = tuner.chooseInterpolation({plan.paths.coarse, plan.heaps.testsBetween()}, settings);
    tuner.showSearches(set, settings);
    return settings;
}

// The settings are renamed first: until the heap follows, they refer to a heap that does not exist yet, which
// checkHeap() refuses whatever the old settings refer to.
void writeCalibration(AdaptiveHeaps& heaps, SettingsTree settings, const std::string& output) {
    heaps.sync();
    noteHeap(settings, heaps.newPath());
    writeSettingsFile(settings, output);
    heaps.commit();
}

} // namespace

CommandPaths inputsOf(const AdaptiveOptions& options, const std::vector<GridRow>& rows) {
    CommandPaths paths;
    paths.reads(options.grid, "the table");
    for (const GridRow& row : rows)
        addFrames(paths, row.file, "a flat field", NamedBy::File);
    if (!options.compensationMask.empty())
        addFrames(paths, options.compensationMask, "the compensation mask");
    addPlugin(paths, options.plugin);
    return paths;
}

std::vector<float> readCompensationMask(const std::string& path, zt::u32 width, zt::u32 height) {
    if (path.empty())
        return {};
    const FramePtr mask = readMaskFrame(path, width, height);
    mask->convertToType(zt::DT_FLOAT);
    const auto pixels = std::as_const(*mask).pixels<float>();
    return {pixels.begin(), pixels.end()};
}

void calibrateAdaptive(const AdaptiveOptions& options, Console& console) {
    checkInspection(options.inspection);
    const std::vector<GridPoint> holes = parseHoles(options.holes);
    const std::vector<GridRow> rows = readGridTable(options.grid);
    CommandPaths paths = inputsOf(options, rows);
    const auto whenThere = options.force ? WhenThere::Replace : WhenThere::Refuse;
    paths.writes(options.output, "the settings file", whenThere);
    paths.writes(heapPathOf(options.output), "the calibration file", whenThere);
    addInspectionPaths(paths, options.inspection, whenThere);
    paths.check(console, options.log);
    checkSettingsOutput(options.output);
    if (const std::string heap = heapPathOf(options.output); !CalibrationHeap::mayReplace(heap))
        throw Error(heap + ": is not a calibration and is not replaced; choose another name for -o");
    const OutputLock lock(options.output, options.force);
    const CalibrationGrid grid = gridOf(options, rows, holes);
    CalibrationGridFlats flats(options.grid, rows);
    FieldInspection inspection(options.inspection, console);
    flats.inspect(inspection);
    const auto mask = readCompensationMask(options.compensationMask, flats.width(), flats.height());
    Session session(console, options.plugin, {1, flats.width(), flats.height()});
    SettingsTree settings = defaultAdaptiveSettings(session);
    const std::set<std::string> fixed = assignSettings(settings, options.assignments);

    const Interrupt interrupt;
    const TrialFolder folder(std::filesystem::path(options.output).parent_path());
    const AdaptiveHeapPaths heapPaths{heapPathOf(options.output), folder / "trial.bin",
                                      folder / "coarse.bin"};
    const HeapSettings heapSettings{.elementSize =
                                        options.element.value_or(static_cast<zt::i32>(flats.width())),
                                    .width = flats.width(),
                                    .height = flats.height(),
                                    .compensationMask = mask};
    Progress reading(console, rows.size(), options.quiet);
    AdaptiveHeaps heaps({grid, flats, heapSettings, options.normalise}, heapPaths,
                        [&] { reading.advance(); });
    warnAbout(heaps, flats, options.normalise, console);
    settings = tune({heaps, heapPaths, settings, fixed, std::min(flats.width(), flats.height())}, session,
                    options, console);
    inspection.note(settings);
    writeCalibration(heaps, settings, options.output);
    console.message(countText(rows.size(), "flat field") + ": " + options.output + " and " +
                    heapPathOf(options.output));
}

} // namespace ombrel
