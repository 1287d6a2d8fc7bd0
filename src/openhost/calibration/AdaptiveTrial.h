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

// How the flat field for a test frame was made.
enum class FlatOrigin {
    WithoutTest, // from other frames
    WithTest,    // the frame is part of it
};

// An open-beam frame whose settings are known, to try a calibration with.
class AdaptiveTestFrame {
public:
    // Pixels where `mask` is 0 are excluded; it may be empty. Dead pixels and those below a third or above
    // three times the flat field's mean are excluded too. Throws Error if no pixel remains.
    AdaptiveTestFrame(const GridPoint& gridPoint, GridFlat flat, std::span<const float> mask,
                      FlatOrigin origin);

    const GridPoint& point() const { return at; }
    // Returns a new reference to the frame.
    FramePtr frame() const;

    // Relative deviation of the corrected pixels from their mean, as a multiple of that expected from the
    // photon statistics of frame and flat field: 1 for a perfect correction.
    double residual(const Frame& corrected) const;

private:
    GridPoint at;
    FramePtr measured;
    std::vector<std::size_t> pixels; // those that are not excluded
    double variance = 0;             // expected, relative, mean of these pixels
};

// Results of the test frames with one choice of settings.
struct TrialResult {
    SettingsTree settings;
    std::size_t frames = 0;
    std::size_t failed = 0;
    std::string failure;              // of the last frame that failed
    std::optional<std::size_t> right; // frames whose own flat field was chosen; unknown for a mosaic
    std::optional<double> margin;     // the least of all frames; unknown for a mosaic; see SearchOutcome
    double residual = 0;              // mean of the frames that succeeded; see AdaptiveTestFrame
    double worst = 0;
    std::optional<double> mosaicResidual; // of a mosaic with the same settings, if it was tried
    double seconds = 0;                   // in the filter, all frames
};

// Passes test frames through the adaptive filter of the plug-in and evaluates the results.
class AdaptiveTrial {
public:
    // `advanced` is called once per frame. Throws Error.
    AdaptiveTrial(Session& session, std::function<void()> advanced);

    // `heap` is a heap file, PATH.bin; a settings file is left next to it. Throws Error if the filter refuses
    // the settings or the program was interrupted.
    TrialResult run(const std::string& heap, const SettingsTree& settings,
                    std::span<const AdaptiveTestFrame> frames);

    // The processor's time for a frame, without a log: the mean of these, each the least of a few.
    double secondsOf(const std::string& heap, const SettingsTree& settings, std::span<const FramePtr> frames);

private:
    void load(const std::string& heap, SettingsTree settings, const std::string& logPath);
    void tryFrame(const AdaptiveTestFrame& test, TrialResult& result);
    void noteOutcome(const AdaptiveTestFrame& test, TrialResult& result) const;

    FilterLink link;
    std::function<void()> frameDone;
    QualityLogFile log;
};

} // namespace ombrel
