#pragma once

#include "calibration/AdaptiveChoices.h"
#include "calibration/AdaptiveTrial.h"

#include <span>
#include <string>
#include <vector>

namespace ombrel {

// A heap file and frames to try it with.
struct TrialSet {
    std::string heap;
    std::span<const AdaptiveTestFrame> frames;
};

// Tries all choices in their two steps. Throws Error when no frame could be corrected with any of them.
std::vector<TrialResult> tryChoices(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base,
                                    const AdaptiveChoices& choices);

// Without interpolation, and with it.
std::vector<TrialResult> tryInterpolation(AdaptiveTrial& trial, const TrialSet& set,
                                          const SettingsTree& base);
inline constexpr std::size_t interpolationKinds = 2;

// With each of the searches.
std::vector<TrialResult> trySearches(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base);
inline constexpr std::size_t searchKinds = 3;

} // namespace ombrel
