#include "calibration/AdaptiveTuning.h"

#include "base/Error.h"
#include "calibration/AdaptiveRanking.h"
#include "calibration/AdaptiveSettings.h"

namespace ombrel {

namespace {

// The quality function is tried with every flat field in the running: what holds there holds for the searches
// that look at some.
SettingsTree fullSearch(SettingsTree settings) {
    settings.set(adaptiveGroup, "Search", 0);
    settings.set(adaptiveGroup, "Interpolation", 0);
    return settings;
}

// What a mosaic goes by.
bool haveSameTiles(const SettingsTree& one, const SettingsTree& other) {
    return adaptiveSetting<std::string>(one, "Kernel") == adaptiveSetting<std::string>(other, "Kernel") &&
           adaptiveSetting<bool>(one, "PPEnabled") == adaptiveSetting<bool>(other, "PPEnabled") &&
           adaptiveSetting<int>(one, "QfBorderMaskSize") == adaptiveSetting<int>(other, "QfBorderMaskSize") &&
           adaptiveSetting<int>(one, "QfTileSize") == adaptiveSetting<int>(other, "QfTileSize");
}

// A mosaic knows tiles, but no threshold.
void tryMosaics(AdaptiveTrial& trial, const TrialSet& set, SettingsTree settings,
                const AdaptiveChoices& choices, std::span<TrialResult> results) {
    settings.set(adaptiveGroup, "Search", mosaicSearch);
    for (const SettingsValue& size : choices.tileSizes) {
        settings.set(adaptiveGroup, "QfTileSize", size);
        const TrialResult mosaic = trial.run(set.heap, settings, set.frames);
        for (TrialResult& result : results)
            if (mosaic.failed == 0 && haveSameTiles(result.settings, settings))
                result.mosaicResidual = mosaic.residual;
    }
}

std::vector<TrialResult> tryEach(AdaptiveTrial& trial, const TrialSet& set, SettingsTree settings,
                                 const char* key, int values) {
    std::vector<TrialResult> results;
    for (int value = 0; value < values; ++value) {
        settings.set(adaptiveGroup, key, value);
        results.push_back(trial.run(set.heap, settings, set.frames));
    }
    return results;
}

} // namespace

std::vector<TrialResult> tryChoices(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base,
                                    const AdaptiveChoices& choices) {
    std::vector<TrialResult> results;
    for (const SettingsTree& settings : choices.first(fullSearch(base)))
        results.push_back(trial.run(set.heap, settings, set.frames));
    const SettingsTree best = results[bestOf(results)].settings;
    for (const SettingsTree& settings : choices.second(best))
        results.push_back(trial.run(set.heap, settings, set.frames));
    tryMosaics(trial, set, best, choices, results);
    const TrialResult& result = results[bestOf(results)];
    if (result.failed == result.frames)
        throw Error("no test frame could be corrected with any settings: " + result.failure);
    return results;
}

std::vector<TrialResult> tryInterpolation(AdaptiveTrial& trial, const TrialSet& set,
                                          const SettingsTree& base) {
    return tryEach(trial, set, fullSearch(base), "Interpolation", interpolationKinds);
}

std::vector<TrialResult> trySearches(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base) {
    return tryEach(trial, set, base, "Search", searchKinds);
}

} // namespace ombrel
