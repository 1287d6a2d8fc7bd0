#pragma once

#include "base/Console.h"
#include "calibration/AdaptiveTuning.h"

namespace ombrel {

// Chooses settings by trying, and shows the tables of what was tried.
class AdaptiveTuner {
public:
    AdaptiveTuner(AdaptiveTrial& adaptiveTrial, Console& resultConsole)
        : trial(adaptiveTrial), console(resultConsole) {}

    // Each gives the settings with its own ones chosen. Throws Error.
    SettingsTree chooseQuality(const TrialSet& set, const SettingsTree& base, const AdaptiveChoices& choices);
    // `between`: frames that lie between the points of their heap.
    SettingsTree chooseInterpolation(const TrialSet& between, SettingsTree settings);

    void showSearches(const TrialSet& set, const SettingsTree& settings);

private:
    AdaptiveTrial& trial;
    Console& console;
};

// Takes the values of these keys from `source`.
SettingsTree withSettingsOf(SettingsTree settings, const SettingsTree& source,
                            std::initializer_list<const char*> keys);

} // namespace ombrel
