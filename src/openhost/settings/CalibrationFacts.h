#pragma once

#include "settings/Settings.h"
#include "zt/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A point of the grid of AdaptiveFF.
struct GridPointFacts {
    // The flat field in counts a frame was divided by this before it was stored: its mean with --normalise,
    // otherwise 1. A corrected frame divided by it is the transmission. NaN for a hole.
    double divisor = 1;
    // The number of frames whose mean the flat field is, or, for one that was predicted by the surfaces of a
    // refined grid, whose mean would be as precise; 0 for a hole.
    double flatFields = 0;
};

// The mean of dark frames, which is subtracted from every frame before the first filter.
struct DarkField {
    std::vector<double> mean; // counts a frame, row by row
    zt::u32 width = 0;
    zt::u32 height = 0;
    int frames = 0;     // that were averaged
    double seconds = 0; // acquisition time of each; 0 if not known or not the same
    std::string hash;   // of the mean
    // Of a typical pixel of one dark frame, counts squared; nothing if it is of one frame only.
    std::optional<double> variance;
};

// Of the width and the mean.
std::string hashOf(const DarkField& dark);

// What a calibration stores of its flat fields, besides the filter's own settings, in ombrel's group. It
// applies while the filter's groups are as calibrated, see filterGroupsOf().
struct CalibrationFacts {
    // Flat-Field: the counts a frame to which its coefficients bring each pixel of the mean flat field. This
    // is the median of that flat field, or of the means of its columns with TDI. Nothing for coefficients
    // that come from a table.
    std::optional<double> level;
    // Flat-Field: the number of frames whose mean the flat field is.
    std::optional<int> flatFields;
    // AdaptiveFF: one for each grid point, V slowest and E fastest, as the heap stores them.
    std::vector<GridPointFacts> points;
    // Beam-hardening: the number of frames in the sum of each mask; empty for masks that were not measured.
    std::vector<double> maskFrames;
    // The hash of the Flat-Field settings that corrected the masks' frames; empty for frames as measured, and
    // another text for any other correction.
    std::string maskCorrection;
    // Counts a photon, from the noise of the frames; nothing for too few frames.
    std::optional<double> gain;
    // Subtracted from each frame that the calibration was made from.
    std::optional<DarkField> dark;
    // The acquisition time of each flat field; nothing if it is not known or not the same.
    std::optional<double> seconds;
};

void noteFacts(SettingsTree& settings, const CalibrationFacts& facts);
// Without a calibration of ombrel, or with an older one, what is missing is empty. Throws Error for a dark
// that is not the one that was stored; `path` is for its message.
CalibrationFacts factsOf(const SettingsTree& settings, const std::string& path = "settings");
// Like factsOf(), for a user who depends on them. Throws Error when the filter's groups were changed since.
CalibrationFacts validFactsOf(const SettingsTree& settings, const std::string& path);

// The lines on them of `ombrel info`.
std::string factsText(const CalibrationFacts& facts);

} // namespace ombrel
