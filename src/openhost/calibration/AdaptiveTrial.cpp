#include "calibration/AdaptiveTrial.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "calibration/AdaptiveReport.h"
#include "calibration/AdaptiveSettings.h"
#include "settings/SettingsFile.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <limits>
#include <utility>

namespace ombrel {

namespace {

constexpr double farFromMean = 3; // pixels beyond this factor are excluded

// Variance of the quotient of a frame's count and its flat field's.
double relativeVariance(double count, double flatMean, zt::u32 flatFrames, FlatOrigin origin) {
    if (flatFrames == 0)
        return 1 / count;
    const double flatCounts = flatMean * flatFrames;
    return origin == FlatOrigin::WithoutTest ? 1 / count + 1 / flatCounts : 1 / count - 1 / flatCounts;
}

// Of this thread alone, so that other programs do not count.
double threadSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

} // namespace

AdaptiveTestFrame::AdaptiveTestFrame(const GridPoint& gridPoint, GridFlat flat, std::span<const float> mask,
                                     FlatOrigin origin)
    : at(gridPoint), measured(std::move(flat.test)) {
    const FramePtr copy(static_cast<Frame*>(measured->clone()));
    copy->convertToType(zt::DT_DOUBLE);
    const auto counts = std::as_const(*copy).pixels<double>();
    const auto& field = origin == FlatOrigin::WithoutTest ? flat.ofOthers : flat.ofAll;
    // A frame that is its own flat field is compared with its own statistics.
    const zt::u32 others = flat.frames - 1;
    const zt::u32 flatFrames = others == 0 ? 0 : origin == FlatOrigin::WithoutTest ? others : flat.frames;
    const double mean = meanOf(field);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const bool isGood = counts[i] > 0 && field[i] * farFromMean >= mean && field[i] <= mean * farFromMean;
        if (!isGood || (!mask.empty() && mask[i] == 0))
            continue;
        pixels.push_back(i);
        variance += relativeVariance(counts[i], field[i], flatFrames, origin);
    }
    if (pixels.empty())
        throw Error(measured->frameName() + ": no pixel is usable for trying settings");
    variance /= static_cast<double>(pixels.size());
}

FramePtr AdaptiveTestFrame::frame() const {
    measured->addRef();
    return FramePtr(measured.get());
}

double AdaptiveTestFrame::residual(const Frame& corrected) const {
    const auto values = corrected.pixels<double>();
    double sum = 0;
    for (const std::size_t pixel : pixels)
        sum += values[pixel];
    const double mean = sum / static_cast<double>(pixels.size());
    double squares = 0;
    for (const std::size_t pixel : pixels)
        squares += (values[pixel] / mean - 1) * (values[pixel] / mean - 1);
    return std::sqrt(squares / static_cast<double>(pixels.size()) / variance);
}

AdaptiveTrial::AdaptiveTrial(Session& session, std::function<void()> advanced)
    : link(session.makeLink(adaptiveFilter)), frameDone(std::move(advanced)) {}

TrialResult AdaptiveTrial::run(const std::string& heap, const SettingsTree& settings,
                               std::span<const AdaptiveTestFrame> frames) {
    load(heap, settings, log.path());
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

double AdaptiveTrial::secondsOf(const std::string& heap, const SettingsTree& settings,
                                std::span<const FramePtr> frames) {
    constexpr int rounds = 3;
    load(heap, settings, {});
    std::vector<double> least(frames.size(), std::numeric_limits<double>::infinity());
    for (int round = 0; round < rounds; ++round) // a frame that is repeated at once would help the search
        for (std::size_t i = 0; i < frames.size(); ++i) {
            frames[i]->addRef();
            const double start = threadSeconds();
            link.apply(FramePtr(frames[i].get()), ApplyMode::Copy);
            least[i] = std::min(least[i], threadSeconds() - start);
        }
    return meanOf(least);
}

void AdaptiveTrial::load(const std::string& heap, SettingsTree settings, const std::string& logPath) {
    settings.set(adaptiveGroup, "LogFile", std::string());
    settings.set(adaptiveGroup, "LogQualityValuesFile", logPath);
    settings.set(adaptiveGroup, "DumpCompensationImages", false);
    const std::string path = std::filesystem::path(heap).replace_extension(".xml").string();
    writeSettingsFile(settings, path);
    link.loadSettings(path);
}

void AdaptiveTrial::tryFrame(const AdaptiveTestFrame& test, TrialResult& result) {
    log.clear(); // of the previous frame
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
    // A search that skips the right point is wrong, whatever it finds.
    const std::string text = log.text();
    if (!isWholeQualityLog(text))
        throw Error("the filter could not write its log of quality values in memory");
    const SearchOutcome outcome = searchOutcome(text, test.point()).value_or(SearchOutcome{false, -1});
    *result.right += outcome.isRight ? 1 : 0;
    result.margin = std::min(result.margin.value_or(outcome.margin), outcome.margin);
}

} // namespace ombrel
