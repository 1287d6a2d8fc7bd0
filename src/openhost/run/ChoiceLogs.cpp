#include "run/ChoiceLogs.h"

#include "base/AtomicFile.h"

#include <algorithm>
#include <span>

namespace ombrel {

namespace {

constexpr const char* group = "Settings";
constexpr const char* logKey = "LogQualityValuesFile";

} // namespace

void ChoiceLogs::redirect(zt::ISettings& settings, std::size_t worker) {
    if (const std::string named = settings.getString(group, logKey, ""); !named.empty())
        userFile = named;
    settings.setString(group, logKey, logs[worker].path().c_str());
}

// The log is emptied, so that a frame without a search finds nothing.
std::optional<GridChoice> ChoiceLogs::read(std::size_t worker, zt::u64 frame) {
    const auto found = logs.find(worker);
    const std::string text = found == logs.end() ? std::string() : found->second.text();
    if (text.empty())
        return std::nullopt;
    found->second.clear();
    const bool isWhole = isWholeQualityLog(text);
    const std::lock_guard lock(mutex);
    if (!isWhole) {
        firstLost = framesLost == 0 ? frame : std::min(firstLost, frame);
        ++framesLost;
        return std::nullopt;
    }
    if (!userFile.empty() && frame >= lastFrame) {
        lastFrame = frame;
        lastText = text;
    }
    return choiceOf(readQualityLog(text));
}

std::string ChoiceLogs::loss() const {
    if (framesLost == 0)
        return {};
    return "the grid choices of " + std::to_string(framesLost) + (framesLost == 1 ? " frame" : " frames") +
           " are lost, the first of frame " + std::to_string(firstLost) +
           ": the filter could not write its log in memory; --no-choice runs without them";
}

void ChoiceLogs::copyToUserFile() const {
    if (userFile.empty() || lastText.empty())
        return;
    replaceFile(userFile, lastText);
}

} // namespace ombrel
