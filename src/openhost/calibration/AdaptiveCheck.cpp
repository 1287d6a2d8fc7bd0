#include "base/Error.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "base/TrialFolder.h"
#include "calibration/AdaptiveCalibration.h"
#include "calibration/AdaptiveReport.h"
#include "calibration/AdaptiveSettings.h"
#include "calibration/AdaptiveTuning.h"
#include "calibration/CalibrationHeap.h"
#include "settings/SettingsFiles.h"

#include <algorithm>
#include <filesystem>

namespace ombrel {

namespace {

// The settings of the file, with the filter's defaults for missing keys.
SettingsTree settingsOf(Session& session, const std::string& path) {
    SettingsTree settings = defaultAdaptiveSettings(session);
    const auto store = session.host().openSettings(path);
    store->loadFile();
    checkHeap(store->contents(), path);
    if (const SettingsGroup* group = store->contents().find(adaptiveGroup))
        for (const SettingsItem& item : group->items)
            settings.set(adaptiveGroup, item.key, item.value);
    return settings;
}

std::vector<AdaptiveTestFrame> readTests(const CalibrationGridFlats& flats, std::span<const float> mask) {
    const std::vector<bool> isTest = testPoints(flats.rows().size());
    std::vector<AdaptiveTestFrame> tests;
    for (std::size_t row = 0; row < isTest.size(); ++row) {
        if (!isTest[row])
            continue;
        // A single frame is its own flat field, with any settings.
        if (GridFlat flat = flats.read(row); flat.isTestKeptOut())
            tests.emplace_back(flats.rows()[row].point, std::move(flat), mask, FlatOrigin::WithTest);
    }
    if (tests.empty())
        throw Error(
            "nothing to try: the grid points that were read have a single frame, which is its own flat "
            "field; give each point two frames or more");
    return tests;
}

// A link to the heap in the folder, where settings for trials can be written next to it.
std::string linkToHeap(const TrialFolder& folder, const std::string& settingsPath) {
    const std::string heap = std::filesystem::absolute(heapPathOf(settingsPath)).string();
    if (!std::filesystem::exists(heap))
        throw Error(heap + ": does not exist; the calibration consists of " + settingsPath +
                    " and this file");
    const std::string link = folder / "check.bin";
    std::filesystem::create_symlink(heap, link);
    return link;
}

} // namespace

void checkAdaptive(const AdaptiveOptions& options, Console& console) {
    checkInspection(options.inspection);
    const std::vector<GridRow> rows = readGridTable(options.grid);
    CommandPaths paths = inputsOf(options, rows);
    paths.reads(options.check, "the settings file");
    paths.reads(heapPathOf(options.check), "the calibration file");
    addInspectionPaths(paths, options.inspection, options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console, options.log);
    CalibrationGridFlats flats(options.grid, rows);
    FieldInspection inspection(options.inspection, console);
    inspectGrid(flats, inspection, options, console);
    const auto mask = readCompensationMask(options.compensationMask, flats.width(), flats.height());
    Session session(console, options.plugin, {1, flats.width(), flats.height()});
    SettingsTree settings = settingsOf(session, options.check);
    const std::set<std::string> fixed = assignSettings(settings, options.assignments);

    const Interrupt interrupt;
    const TrialFolder folder = TrialFolder::inTemporary();
    const std::vector<AdaptiveTestFrame> tests = readTests(flats, mask);
    const TrialSet set{linkToHeap(folder, options.check), tests};
    const AdaptiveChoices choices(settings, fixed, std::min(flats.width(), flats.height()));
    Progress progress(console, tests.size() * (1 + choices.count() + searchKinds), options.quiet);
    AdaptiveTrial trial(session, [&] { progress.advance(); });

    std::vector<TrialResult> results{trial.run(set.heap, settings, set.frames)};
    const auto tried = tryChoices(trial, set, settings, choices);
    results.insert(results.end(), tried.begin(), tried.end());
    console.result(choicesTable(results, {0, options.check}));
    AdaptiveTuner(trial, console).showSearches(set, settings);
    const std::size_t best = bestOf(results);
    if (best != 0 && isClearlyFlatter(results[best], results[0]))
        console.message(options.check +
                        ": other settings leave a smaller residual; calibrate again, or use those of row " +
                        std::to_string(best + 1));
}

} // namespace ombrel
