#pragma once

#include "base/Console.h"
#include "calibration/AdaptiveReport.h"
#include "calibration/AdaptiveTrial.h"
#include "settings/Settings.h"
#include "zt/Types.h"

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The values to try for the settings that decide whether the adaptive filter finds the right flat field. The
// preferred value of each comes first.
struct AdaptiveChoices {
    std::vector<SettingsValue> kernels;
    std::vector<SettingsValue> preProcessing;
    std::vector<SettingsValue> borders;
    std::vector<SettingsValue> tileSizes;
    std::vector<SettingsValue> thresholds;

    // Keys in `fixed` keep their value in `settings`. Tiles must fit into frames with this shorter side.
    AdaptiveChoices(const SettingsTree& settings, const std::set<std::string>& fixed, zt::u32 shortSide);

    // Kernel, pre-processing and border are tried together, with the first tile size and threshold. Then the
    // other tile sizes and thresholds, and a mosaic of each tile size, are tried with the best of these.
    std::vector<SettingsTree> first(const SettingsTree& base) const;
    std::vector<SettingsTree> second(const SettingsTree& best) const;
    // The total number of trials.
    std::size_t count() const {
        return kernels.size() * preProcessing.size() * borders.size() + tileSizes.size() * thresholds.size() -
               1 + tileSizes.size();
    }
};

// The name of a kernel for people: that of its neighbours if it is one of those tried, else its text.
std::string kernelName(const std::string& kernel);

// The best of several results over the same frames. Each of these criteria narrows the candidates for the
// next: the fewest failed frames; about the least residual; right most often; about the least residual of a
// mosaic; safely right; the first. Residual comes before right, since settings may find every flat field and
// still spoil the frames.
std::size_t bestOf(std::span<const TrialResult> results);

// Whether `other` leaves a clearly smaller residual than `result`.
bool isClearlyFlatter(const TrialResult& other, const TrialResult& result);

// A heap file and frames to try it with.
struct TrialSet {
    std::string heap;
    std::span<const AdaptiveTestFrame> frames;
    TrialCoverage coverage = {}; // only for frames that were selected from many
};

// Tries all choices in their two steps. Throws Error when no frame could be corrected with any of them.
std::vector<TrialResult> tryChoices(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base,
                                    const AdaptiveChoices& choices);

// Tries without interpolation, and with it.
std::vector<TrialResult> tryInterpolation(AdaptiveTrial& trial, const TrialSet& set,
                                          const SettingsTree& base);
inline constexpr std::size_t interpolationKinds = 2;

// Tries each kind of search.
std::vector<TrialResult> trySearches(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base);
inline constexpr std::size_t searchKinds = 3;

// Chooses settings by trying them, and prints tables of the trials.
class AdaptiveTuner {
public:
    AdaptiveTuner(AdaptiveTrial& adaptiveTrial, Console& resultConsole)
        : trial(adaptiveTrial), console(resultConsole) {}

    // Each returns the settings with its own keys chosen. Throws Error.
    // Without frames to try them on, the preferred settings.
    SettingsTree preferredQuality(const SettingsTree& base, const AdaptiveChoices& choices) const;
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
