#pragma once

#include "calibration/AdaptiveTestFrame.h"
#include "host/Session.h"
#include "run/QualityLog.h"
#include "settings/SettingsTree.h"

#include <functional>
#include <optional>
#include <span>
#include <string>

namespace ombrel {

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
