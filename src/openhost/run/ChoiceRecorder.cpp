#include "run/ChoiceRecorder.h"

#include "base/AtomicFile.h"
#include "base/Numbers.h"

#include <algorithm>
#include <utility>

namespace ombrel {

namespace {

constexpr const char* adaptiveSettings = "Settings";
constexpr const char* logKey = "LogQualityValuesFile";

// Null if the filter does not offer its scores.
IGridScores* scoresOf(const FilterLink& link) {
    return dynamic_cast<IGridScores*>(&link.filter());
}

ScoredPoint pointOf(IGridScores& scores, std::size_t candidate) {
    if (candidate == IGridScores::none)
        return {notANumber, notANumber, notANumber, notANumber};
    const auto [v, t, e] = scores.candidate(candidate);
    return {loggedNumber(v), loggedNumber(t), loggedNumber(e), loggedNumber(scores.score(candidate))};
}

} // namespace

std::optional<SelectedFlatField> choiceOf(IGridScores& scores, GridLines& lines) {
    const TwoBest ranked(scores);
    if (ranked.best == IGridScores::none)
        return std::nullopt;
    lines.follow(scores);
    const ScoredPoint best = pointOf(scores, ranked.best);
    const ScoredPoint next = pointOf(scores, ranked.next);
    return SelectedFlatField{best, next, next.value == best.value, sidesOutside(lines, scores, ranked)};
}

void ChoiceRecorder::prepare(std::size_t worker, const FilterLink& link, zt::ISettings& settings,
                             const std::optional<std::string>& userLog) {
    userFile = userLog ? *userLog : std::string(settings.getString(adaptiveSettings, logKey, ""));
    Source& source = sourceOf(worker);
    source.log.reset();
    if (!userFile.empty() || !scoresOf(link))
        source.log.emplace();
    settings.setString(adaptiveSettings, logKey, source.log ? source.log->path().c_str() : "");
}

ChoiceRecorder::Source& ChoiceRecorder::sourceOf(std::size_t worker) {
    const std::lock_guard lock(mutex);
    return sources[worker];
}

std::optional<SelectedFlatField> ChoiceRecorder::read(std::size_t worker, FilterLink& link, zt::u64 frame) {
    Source& source = sourceOf(worker);
    // If the frame failed before this filter, the filter's scores are those of an earlier frame.
    const bool isCorrected = link.takeCorrected();
    std::optional<SelectedFlatField> choice;
    if (source.log)
        choice = readLog(source, frame);
    else if (IGridScores* const scores = scoresOf(link); scores && isCorrected)
        choice = choiceOf(*scores, source.lines);
    if (!isCorrected || !choice)
        return std::nullopt;
    const std::lock_guard lock(mutex);
    driftNotes.add(frame, choice->outside);
    return choice;
}

// Clears the log, so that a frame without a search has no choice.
std::optional<SelectedFlatField> ChoiceRecorder::readLog(Source& source, zt::u64 frame) {
    std::string text = source.log->text();
    if (text.empty())
        return std::nullopt;
    source.log->clear();
    if (!isWholeQualityLog(text)) {
        noteLoss(frame);
        return std::nullopt;
    }
    LoggedScores scores(readQualityLog(text));
    keepLog(frame, std::move(text));
    return choiceOf(scores, source.lines);
}

void ChoiceRecorder::keepLog(zt::u64 frame, std::string text) {
    const std::lock_guard lock(mutex);
    if (userFile.empty() || frame < lastFrame)
        return;
    lastFrame = frame;
    lastText = std::move(text);
}

void ChoiceRecorder::noteLoss(zt::u64 frame) {
    const std::lock_guard lock(mutex);
    firstLost = framesLost == 0 ? frame : std::min(firstLost, frame);
    ++framesLost;
}

std::string ChoiceRecorder::loss() const {
    if (framesLost == 0)
        return {};
    return "the grid choices of " + countText(framesLost, "frame") + " are lost, the first of frame " +
           std::to_string(firstLost) +
           ": the filter could not write its log in memory; --no-choice runs without them";
}

void ChoiceRecorder::copyToUserFile() const {
    if (userFile.empty() || lastText.empty())
        return;
    replaceFile(userFile, lastText);
}

} // namespace ombrel
