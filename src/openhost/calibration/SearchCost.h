#pragma once

#include "settings/Settings.h"

#include <cstddef>

namespace ombrel {

// What the adaptive filter's search costs, by the number of flat fields.
class SearchCost {
public:
    // `measured`: seconds for a frame, with so many flat fields.
    SearchCost(const SettingsTree& settings, double measured, std::size_t flatFields)
        : prunes(isPruned(settings)), secondsOfScore(measured / scoresOf(flatFields)) {}

    // On a fast machine; for frames of so many pixels.
    static SearchCost expected(const SettingsTree& settings, std::size_t pixels) {
        return {settings, 0.5e-9 * static_cast<double>(pixels), 1};
    }

    // The processor's time for a frame.
    double seconds(std::size_t flatFields) const { return secondsOfScore * scoresOf(flatFields); }
    // The most flat fields for a time.
    double mostFlatFields(double seconds) const;
    // Memory for each flat field, in images: as it is stored, and as it is searched.
    double images() const { return prunes ? 1.25 : 2; }

private:
    // Without tiles the filter needs few of the scores.
    static bool isPruned(const SettingsTree& settings);
    // How many scores take as long as the search.
    double scoresOf(std::size_t flatFields) const;

    bool prunes;
    double secondsOfScore;
};

} // namespace ombrel
