#pragma once

#include "frame/Frame.h"
#include "settings/CalibrationFacts.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// The gain of a detector, in counts a photon, from the noise of repeated frames: photon statistics give each
// pixel a variance of the gain times its mean. See docs/uncertainty.md.
class PhotonTransfer {
public:
    // The dark that was subtracted from all frames; null without one. It must outlive the estimate.
    explicit PhotonTransfer(const DarkField* subtractedDark = nullptr) : dark(subtractedDark) {}

    // A frame of the current set: frames of one condition, which may differ in their level.
    void add(const Frame& frame);
    // Ends the set; of a single frame it says nothing.
    void endSet();
    // A set of `count` frames of which one is known and the mean of the others.
    void addSplit(const Frame& one, std::span<const double> others, double count);

    // Exactly 1 if it does not differ; nothing without a set that says something.
    std::optional<double> gain() const;

private:
    struct Sample {
        std::vector<double> pixels; // relative to the level
        double level = 0;           // of the whole frame
    };
    Sample sampleOf(std::vector<double> frame) const;
    // The median chi-square of the noise that a dark frame has, too, at this level.
    double darkNoise(double degrees, double level) const;
    void take(std::vector<double> gains, double degrees);

    const DarkField* dark;
    std::vector<double> mean; // at some pixels, relative to the level of each frame
    std::vector<double> squares;
    double levels = 0;
    double frames = 0;
    double weighted = 0; // gains of the sets so far, by their degrees of freedom
    double weights = 0;
    double pixels = 0; // of all sets
};

} // namespace ombrel
