#include "run/SelectionLogs.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/Numbers.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <span>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace ombrel {

namespace {

// Removes the text up to the separator, or all of it, from its start.
std::string_view cutAt(std::string_view& text, std::string_view separator) {
    const std::string_view part = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(text.size(), part.size() + separator.size()));
    return part;
}

// "[ V, T, E, value ]"
std::optional<QualityValue> readLine(std::string_view line) {
    if (!line.starts_with("[ ") || !line.ends_with(" ]"))
        return std::nullopt;
    line = line.substr(2, line.size() - 4);
    const std::string_view v = cutAt(line, ", ");
    const std::string_view t = cutAt(line, ", ");
    const std::string_view e = cutAt(line, ", ");
    const auto value = readNumber<double>(line);
    if (!value || std::isnan(*value))
        return std::nullopt;
    return QualityValue{std::string(v), std::string(t), std::string(e), *value};
}

ScoredPoint scored(const QualityValue* candidate) {
    if (!candidate)
        return {notANumber, notANumber, notANumber, notANumber};
    const auto number = [](const std::string& text) { return readNumber<double>(text).value_or(notANumber); };
    return {number(candidate->v), number(candidate->t), number(candidate->e), candidate->value};
}

} // namespace

QualityLogFile::QualityLogFile()
    : file(::memfd_create("quality", MFD_CLOEXEC), "memory"),
      openPath("/proc/self/fd/" + std::to_string(file.get())) {
    if (file.get() < 0)
        throw Error(systemErrorText("the filter's log of quality values", "cannot be made", errno));
    if (::access(openPath.c_str(), W_OK) != 0) // /proc may not be mounted
        throw Error(systemErrorText(openPath, "cannot be written", errno));
}

std::string QualityLogFile::text() const {
    std::string bytes(static_cast<std::size_t>(file.size()), '\0');
    file.readAt(0, std::as_writable_bytes(std::span(bytes)));
    return bytes;
}

void QualityLogFile::clear() {
    if (::ftruncate(file.get(), 0) != 0)
        throw Error(systemErrorText(openPath, "cannot be emptied", errno));
}

std::vector<QualityValue> readQualityLog(const std::string& text) {
    std::vector<QualityValue> candidates;
    for (std::string_view rest = text; !rest.empty();)
        if (auto candidate = readLine(cutAt(rest, "\n")))
            candidates.push_back(std::move(*candidate));
    return candidates;
}

bool isWholeQualityLog(const std::string& text) {
    return text.ends_with("\n\n");
}

std::optional<SelectedFlatField> choiceOf(const std::vector<QualityValue>& candidates) {
    const QualityValue* best = nullptr;
    const QualityValue* next = nullptr;
    for (const QualityValue& candidate : candidates) {
        if (!best || candidate.value < best->value) {
            next = best;
            best = &candidate;
        } else if (!next || candidate.value < next->value) {
            next = &candidate;
        }
    }
    if (!best)
        return std::nullopt;
    return SelectedFlatField{scored(best), scored(next), next && next->value == best->value};
}

namespace {

constexpr const char* adaptiveGroup = "Settings";
constexpr const char* logKey = "LogQualityValuesFile";

} // namespace

void SelectionLogs::redirect(zt::ISettings& settings, std::size_t worker) {
    if (const std::string named = settings.getString(adaptiveGroup, logKey, ""); !named.empty())
        userFile = named;
    settings.setString(adaptiveGroup, logKey, logs[worker].path().c_str());
}

// Clears the log, so that a frame without a search has no choice.
std::optional<SelectedFlatField> SelectionLogs::read(std::size_t worker, zt::u64 frame) {
    const auto found = logs.find(worker);
    const std::string text = found == logs.end() ? std::string() : found->second.text();
    if (text.empty())
        return std::nullopt;
    found->second.clear();
    const bool isWhole = isWholeQualityLog(text);
    const auto candidates = isWhole ? readQualityLog(text) : std::vector<QualityValue>();
    auto choice = choiceOf(candidates);
    if (choice)
        choice->outside = sidesOutside(candidates);
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
    if (choice)
        driftNotes.add(frame, choice->outside);
    return choice;
}

std::string SelectionLogs::loss() const {
    if (framesLost == 0)
        return {};
    return "the grid choices of " + std::to_string(framesLost) + (framesLost == 1 ? " frame" : " frames") +
           " are lost, the first of frame " + std::to_string(firstLost) +
           ": the filter could not write its log in memory; --no-choice runs without them";
}

void SelectionLogs::copyToUserFile() const {
    if (userFile.empty() || lastText.empty())
        return;
    replaceFile(userFile, lastText);
}

} // namespace ombrel
