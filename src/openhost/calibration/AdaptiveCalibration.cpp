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
#include "settings/CalibrationFacts.h"
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

void warnAbout(const AdaptiveHeaps& heaps, bool normalised, Console& console) {
    if (heaps.singleFrames() != 0)
        console.message(countText(heaps.singleFrames(), "grid point") +
                        (heaps.singleFrames() == 1 ? " has" : " have") +
                        " a single frame, which is also its own flat field: no settings are tried on it");
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

    const TrialSet set{
        plan.paths.trial, plan.heaps.tests(), {plan.heaps.images(), plan.heaps.trialGrid().points().size()}};
    const bool hasTests = !set.frames.empty();
    SettingsTree settings = hasTests ? tuner.chooseQuality(set, plan.settings, choices)
                                     : tuner.preferredQuality(plan.settings, choices);
    if (triesInterpolation)
        settings = tuner.chooseInterpolation({plan.paths.coarse, plan.heaps.testsBetween()}, settings);
    if (hasTests)
        tuner.showSearches(set, settings);
    return settings;
}

// What was found of the frames that a calibration was made from.
struct MeasuredGrid {
    const FieldInspection& inspection;
    std::optional<DarkField> dark; // subtracted from each frame
};

// The settings are renamed first: until the heap follows, they refer to a heap that does not exist yet, which
// checkHeap() refuses whatever the old settings refer to.
void writeCalibration(CalibrationHeap& heap, SettingsTree settings, const MeasuredGrid& measured,
                      CalibrationFacts facts, const std::string& output) {
    heap.sync();
    facts.dark = measured.dark;
    noteFacts(settings, facts);
    measured.inspection.note(settings);
    noteHeap(settings, heap.newPath());
    writeSettingsFile(settings, output);
    heap.commit();
}

CalibrationFacts factsOf(const AdaptiveHeaps& heaps) {
    CalibrationFacts facts;
    facts.points = heaps.facts();
    facts.gain = heaps.gain();
    return facts;
}

// What a refined calibration is made from.
struct RefinePlan {
    const AdaptiveHeapPlan& heapPlan;
    const AdaptiveHeaps& heaps;
    const AdaptiveHeapPaths& paths;
    const TrialFolder& folder;
    const MeasuredGrid& measured;
    std::optional<int> search; // if the user fixes it
};

// The processor's time for a frame, measured on the refined heap.
double measuredSeconds(const CalibrationHeap& heap, const RefinePlan& plan, const SettingsTree& settings,
                       AdaptiveTrial& trial, std::span<const FramePtr> frames) {
    const std::string link = plan.folder / "refined.bin";
    std::filesystem::remove(link);
    std::filesystem::create_symlink(std::filesystem::absolute(heap.newPath()), link);
    return trial.secondsOf(link, settings, frames);
}

// Times in seconds.
std::string tooSlowText(double taken, double allowed) {
    char text[160];
    std::snprintf(
        text, sizeof text,
        "--time-per-frame %.4g: a frame takes %.3g ms with the refined grid; ask for fewer cells by "
        "--refine N, or allow more time",
        1000 * allowed, 1000 * taken);
    return text;
}

// Writes the refined grid in place of the measured one. Where a frame takes more time than allowed, since the
// grid no longer fits into the processor's cache, it is made smaller.
void writeRefined(GridRefinement& refinement, const RefinePlan& plan, SettingsTree settings, Session& session,
                  const AdaptiveOptions& options, Console& console) {
    constexpr int mostAttempts = 3;
    AdaptiveTrial trial(session, [] {});
    {
        Progress fitting(console, plan.heaps.images(), options.quiet);
        refinement.fitAllPixels([&] { fitting.advance(); });
    }
    const std::vector<FramePtr> frames = refinement.exampleFrames();
    SearchCost cost = SearchCost::expected(settings, frames.front()->pixels<double>().size());
    for (int attempt = 1;; ++attempt) {
        refinement.choose(cost, plan.search);
        const RefinedGrid& grid = refinement.chosen();
        settings.set(adaptiveGroup, "Search",
                     grid.isForLookAround ? lookAroundSearch : plan.search.value_or(0));
        settings.set(adaptiveGroup, "Interpolation", grid.isForLookAround ? 1 : 0);
        CalibrationHeap heap(heapPathOf(options.output), refinement.grid(), plan.heapPlan.settings);
        Progress writing(console, grid.written.size(), options.quiet);
        CalibrationFacts facts = factsOf(plan.heaps);
        facts.points = refinement.write(heap, [&] { writing.advance(); });
        heap.sync();
        const double taken = measuredSeconds(heap, plan, settings, trial, frames);
        const double most = options.refine.timePerFrame.value_or(HUGE_VAL) / 1000;
        cost = {settings, taken, grid.tried};
        if (taken > most && attempt < mostAttempts)
            continue;
        if (taken > most)
            console.message(tooSlowText(taken, most));
        console.result("\n" + refinement.surfaceText() + refinement.gridsText(cost));
        writeCalibration(heap, settings, plan.measured, facts, options.output);
        return;
    }
}

} // namespace

CommandPaths inputsOf(const AdaptiveOptions& options, const std::vector<GridRow>& rows) {
    CommandPaths paths;
    paths.reads(options.grid, "the table");
    for (const GridRow& row : rows)
        addFrames(paths, row.file, "a flat field", NamedBy::File);
    if (!options.compensationMask.empty())
        addFrames(paths, options.compensationMask, "the compensation mask");
    addDarkFile(paths, options.dark);
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

std::optional<DarkField> inspectGrid(CalibrationGridFlats& flats, FieldInspection& inspection,
                                     const AdaptiveOptions& options, Console& console) {
    flats.inspect(inspection);
    std::vector<std::string> files;
    for (const GridRow& row : flats.rows())
        files.push_back(row.file);
    auto dark = measureDark(options.dark, files, inspection);
    inspection.finish();
    if (dark)
        flats.subtract(*dark, console);
    return dark;
}

namespace {

void checkPaths(const AdaptiveOptions& options, const std::vector<GridRow>& rows, Console& console) {
    CommandPaths paths = inputsOf(options, rows);
    const auto whenThere = options.force ? WhenThere::Replace : WhenThere::Refuse;
    paths.writes(options.output, "the settings file", whenThere);
    paths.writes(heapPathOf(options.output), "the calibration file", whenThere);
    addInspectionPaths(paths, options.inspection, whenThere);
    paths.check(console, options.log);
    checkSettingsOutput(options.output);
    if (const std::string heap = heapPathOf(options.output); !CalibrationHeap::mayReplace(heap))
        throw Error(heap + ": is not a calibration and is not replaced; choose another name for -o");
}

// What a refined grid decides by itself. Interpolation between its points would only add time. Without tiles
// the score is the sum of all pixels, for which the filter needs to compute few scores. A threshold of tiles
// is found in a histogram, whose bins are wide when one tile is far above the others, as with a sample: which
// tiles are dropped then differs from candidate to candidate by more than neighbours of the grid do.
void fixForRefinement(SettingsTree& settings, std::set<std::string>& fixed) {
    constexpr int noTiles = 0;
    constexpr int allTiles = 100;
    if (adaptiveSetting<int>(settings, "Interpolation") != 0)
        throw UsageError(
            "--set Interpolation=1: not with --refine, whose grid has the points between already");
    fixed.insert("Interpolation");
    if (!fixed.contains("QfTileThreshold") && fixed.insert("QfTileSize").second)
        settings.set(adaptiveGroup, "QfTileSize", noTiles);
    if (fixed.insert("QfTileThreshold").second)
        settings.set(adaptiveGroup, "QfTileThreshold", allTiles);
}

} // namespace

void calibrateAdaptive(const AdaptiveOptions& options, Console& console) {
    checkInspection(options.inspection);
    const std::vector<GridPoint> holes = parseHoles(options.holes);
    parseCells(options.refine.isOn() ? options.refine.cells : "auto"); // refused before anything is read
    const std::vector<GridRow> rows = readGridTable(options.grid);
    checkPaths(options, rows, console);
    const OutputLock lock(options.output, options.force);
    const CalibrationGrid grid = gridOf(options, rows, holes);
    CalibrationGridFlats flats(options.grid, rows);
    FieldInspection inspection(options.inspection, console);
    const MeasuredGrid measured{inspection, inspectGrid(flats, inspection, options, console)};
    const auto mask = readCompensationMask(options.compensationMask, flats.width(), flats.height());
    Session session(console, options.plugin, {1, flats.width(), flats.height()});
    SettingsTree settings = defaultAdaptiveSettings(session);
    std::set<std::string> fixed = assignSettings(settings, options.assignments);
    if (options.refine.isOn())
        fixForRefinement(settings, fixed);

    const Interrupt interrupt;
    const TrialFolder folder(std::filesystem::path(options.output).parent_path());
    const AdaptiveHeapPaths heapPaths{options.refine.isOn() ? folder / "measured.bin"
                                                            : heapPathOf(options.output),
                                      folder / "trial.bin", folder / "coarse.bin"};
    const HeapSettings heapSettings{.elementSize =
                                        options.element.value_or(static_cast<zt::i32>(flats.width())),
                                    .width = flats.width(),
                                    .height = flats.height(),
                                    .compensationMask = mask};
    Progress reading(console, rows.size(), options.quiet);
    const AdaptiveHeapPlan heapPlan{grid, flats, heapSettings, options.normalise};
    AdaptiveHeaps heaps(heapPlan, heapPaths, [&] { reading.advance(); });
    warnAbout(heaps, options.normalise, console);
    std::optional<GridRefinement> refinement;
    if (options.refine.isOn()) {
        Progress sampling(console, rows.size(), options.quiet);
        refinement.emplace(heapPlan, options.refine, [&] { sampling.advance(); });
    }
    settings = tune({heaps, heapPaths, settings, fixed, std::min(flats.width(), flats.height())}, session,
                    options, console);
    const auto search =
        fixed.contains("Search") ? std::optional(adaptiveSetting<int>(settings, "Search")) : std::nullopt;
    if (refinement)
        writeRefined(*refinement, {heapPlan, heaps, heapPaths, folder, measured, search}, settings, session,
                     options, console);
    else
        writeCalibration(heaps.wholeHeap(), settings, measured, factsOf(heaps), options.output);
    console.message(countText(rows.size(), "flat field") + ": " + options.output + " and " +
                    heapPathOf(options.output));
}

} // namespace ombrel
