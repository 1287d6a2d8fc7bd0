#include "calibration/AdaptiveTuner.h"

#include "calibration/AdaptiveRanking.h"
#include "calibration/AdaptiveSettings.h"
#include "calibration/AdaptiveTable.h"

namespace ombrel {

namespace {

constexpr const char* chosen = "chosen";

} // namespace

SettingsTree AdaptiveTuner::chooseQuality(const TrialSet& set, const SettingsTree& base,
                                          const AdaptiveChoices& choices) {
    const auto results = tryChoices(trial, set, base, choices);
    const std::size_t best = bestOf(results);
    console.result(choicesTable(results, {best, chosen}));
    return withSettingsOf(base, results[best].settings,
                          {"Kernel", "PPEnabled", "QfBorderMaskSize", "QfTileSize", "QfTileThreshold"});
}

SettingsTree AdaptiveTuner::chooseInterpolation(const TrialSet& between, SettingsTree settings) {
    const auto results = tryInterpolation(trial, between, settings);
    // Midpoints cost time, so they must be worth it.
    const std::size_t best = isClearlyFlatter(results[1], results[0]) ? 1 : 0;
    console.result("\nFrames between the points of a coarser grid, of every second value:\n" +
                   interpolationTable(results, {best, chosen}));
    return withSettingsOf(std::move(settings), results[best].settings, {"Interpolation"});
}

void AdaptiveTuner::showSearches(const TrialSet& set, const SettingsTree& settings) {
    const auto results = trySearches(trial, set, settings);
    const auto inForce = static_cast<std::size_t>(adaptiveSetting<int>(settings, "Search"));
    console.result("\nThe searches with these settings:\n" + searchesTable(results, {inForce, chosen}));
}

SettingsTree withSettingsOf(SettingsTree settings, const SettingsTree& source,
                            std::initializer_list<const char*> keys) {
    for (const char* key : keys)
        settings.set(adaptiveGroup, key, *source.find(adaptiveGroup, key));
    return settings;
}

} // namespace ombrel
