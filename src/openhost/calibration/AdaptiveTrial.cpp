#include "calibration/AdaptiveTrial.h"

#include "base/Error.h"
#include "base/Interrupt.h"
#include "calibration/AdaptiveQualityLog.h"
#include "calibration/AdaptiveSettings.h"
#include "settings/SettingsWriter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>

namespace ombrel {

AdaptiveTrial::AdaptiveTrial(Session& session, std::function<void()> advanced)
    : link(session.makeLink(adaptiveFilter)), frameDone(std::move(advanced)) {}

TrialResult AdaptiveTrial::run(const std::string& heap, const SettingsTree& settings,
                               std::span<const AdaptiveTestFrame> frames) {
    load(heap, settings);
    TrialResult result;
    result.settings = settings;
    result.frames = frames.size();
    if (adaptiveSetting<int>(settings, "Search") != mosaicSearch)
        result.right = 0;
    for (const AdaptiveTestFrame& test : frames) {
        if (Interrupt::requested())
            throw Error("interrupted; nothing was written");
        tryFrame(test, result);
        frameDone();
    }
    if (result.failed < result.frames)
        result.residual /= static_cast<double>(result.frames - result.failed);
    return result;
}

void AdaptiveTrial::load(const std::string& heap, SettingsTree settings) {
    settings.set(adaptiveGroup, "LogFile", std::string());
    settings.set(adaptiveGroup, "LogQualityValuesFile", log.path());
    settings.set(adaptiveGroup, "DumpCompensationImages", false);
    const std::string path = std::filesystem::path(heap).replace_extension(".xml").string();
    writeSettingsFile(settings, path);
    link.loadSettings(path);
}

void AdaptiveTrial::tryFrame(const AdaptiveTestFrame& test, TrialResult& result) {
    log.clear(); // of the frame before
    const auto start = std::chrono::steady_clock::now();
    const FrameResult corrected = link.apply(test.frame(), ApplyMode::Copy);
    result.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!corrected) {
        ++result.failed;
        result.failure = corrected.failure;
        return;
    }
    noteOutcome(test, result);
    double residual = test.residual(*corrected.frame);
    if (std::isnan(residual))
        residual = std::numeric_limits<double>::infinity();
    result.residual += residual;
    result.worst = std::max(result.worst, residual);
}

void AdaptiveTrial::noteOutcome(const AdaptiveTestFrame& test, TrialResult& result) const {
    if (!result.right)
        return;
    // A search that passes over the right point is wrong whatever it finds.
    const std::string text = log.text();
    if (!isWholeQualityLog(text))
        throw Error("the filter could not write its log of quality values in memory");
    const SearchOutcome outcome = searchOutcome(text, test.point()).value_or(SearchOutcome{false, -1});
    *result.right += outcome.isRight ? 1 : 0;
    result.margin = std::min(result.margin.value_or(outcome.margin), outcome.margin);
}

} // namespace ombrel
