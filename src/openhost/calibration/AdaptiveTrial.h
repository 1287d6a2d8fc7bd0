#pragma once

#include "calibration/CalibrationGridTable.h"
#include "host/Session.h"
#include "run/SelectionLogs.h"
#include "settings/Settings.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// How the flat field that a frame is tried with came about.
enum class FlatOrigin {
    WithoutTest, // from other frames
    WithTest,    // the frame is part of it
};

// A frame of the open beam whose settings are known, to try a calibration with.
class AdaptiveTestFrame {
public:
    // `mask` leaves out the pixels where it is 0; it may be empty. Left out as well are dead pixels, and
    // those of less than a third or more than three times the flat field's mean. Throws Error when none is
    // left.
    AdaptiveTestFrame(const GridPoint& gridPoint, GridFlat flat, std::span<const float> mask,
                      FlatOrigin origin);

    const GridPoint& point() const { return at; }
    // One more reference of the frame.
    FramePtr frame() const;

    // Relative deviation of the corrected pixels from their mean, as a multiple of what photon statistics of
    // frame and flat field make of it: 1 for a perfect correction.
    double residual(const Frame& corrected) const;

private:
    GridPoint at;
    FramePtr measured;
    std::vector<std::size_t> pixels; // those that count
    double variance = 0;             // expected, relative, mean of these pixels
};

// What came of the test frames with one choice of settings.
struct TrialResult {
    SettingsTree settings;
    std::size_t frames = 0;
    std::size_t failed = 0;
    std::string failure;              // of the last that failed
    std::optional<std::size_t> right; // found the flat field of their own settings; not told for a mosaic
    std::optional<double> margin;     // the least of all frames, likewise; see SearchOutcome
    double residual = 0;              // mean of the frames that did not fail; see AdaptiveTestFrame
    double worst = 0;
    std::optional<double> mosaicResidual; // of a mosaic with the same settings, where that was tried
    double seconds = 0;                   // in the filter, all frames
};

// Passes test frames through the adaptive filter of the plug-in and looks at what it made of them.
class AdaptiveTrial {
public:
    // `advanced` is called once a frame. Throws Error.
    AdaptiveTrial(Session& session, std::function<void()> advanced);

    // `heap` is a heap file, PATH.bin; a settings file is left beside it. Throws Error: the filter refuses
    // the settings, or the program was asked to end.
    TrialResult run(const std::string& heap, const SettingsTree& settings,
                    std::span<const AdaptiveTestFrame> frames);

private:
    void load(const std::string& heap, SettingsTree settings);
    void tryFrame(const AdaptiveTestFrame& test, TrialResult& result);
    void noteOutcome(const AdaptiveTestFrame& test, TrialResult& result) const;

    FilterLink link;
    std::function<void()> frameDone;
    QualityLogFile log;
};

} // namespace ombrel
