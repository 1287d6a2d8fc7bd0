#include "standalone/cli/AdaptiveTrial.h"

#include "standalone/Error.h"
#include "standalone/SettingsWriter.h"
#include "standalone/cli/AdaptiveQualityLog.h"
#include "standalone/cli/AdaptiveSettings.h"
#include "standalone/cli/Interrupt.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

namespace ombrel::cli {

AdaptiveTrial::AdaptiveTrial(Session& session, std::function<void()> advanced)
    : link(session.makeLink(adaptiveFilter)), frameDone(std::move(advanced)),
      folder(std::filesystem::temp_directory_path()), log(folder / "quality") {
    if (log.size() >= qualityLogPathLimit)
        throw Error(log + ": the path is too long for the filter; let TMPDIR be a shorter one");
}

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
    settings.set(adaptiveGroup, "LogQualityValuesFile", log);
    settings.set(adaptiveGroup, "DumpCompensationImages", false);
    const std::string path = std::filesystem::path(heap).replace_extension(".xml").string();
    writeSettingsFile(settings, path);
    link.loadSettings(path);
}

void AdaptiveTrial::tryFrame(const AdaptiveTestFrame& test, TrialResult& result) {
    std::filesystem::remove(log); // of the frame before
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
    const SearchOutcome outcome = searchOutcome(log, test.point()).value_or(SearchOutcome{false, -1});
    *result.right += outcome.isRight ? 1 : 0;
    result.margin = std::min(result.margin.value_or(outcome.margin), outcome.margin);
}

} // namespace ombrel::cli
