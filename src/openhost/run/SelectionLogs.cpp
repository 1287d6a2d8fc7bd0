#include "run/SelectionLogs.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <optional>
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

// The parameters of a candidate are floats, so that they fit.
float floatOf(const std::string& text) {
    return static_cast<float>(readNumber<double>(text).value_or(notANumber));
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

double loggedNumber(float value) {
    constexpr int significantDigits = 6;
    std::array<char, 32> text;
    const auto end =
        std::to_chars(text.begin(), text.end(), value, std::chars_format::general, significantDigits).ptr;
    return readNumber<double>({text.begin(), end}).value_or(notANumber);
}

LoggedScores::LoggedScores(std::span<const QualityValue> candidates) {
    for (const QualityValue& candidate : candidates) {
        points.push_back({floatOf(candidate.v), floatOf(candidate.t), floatOf(candidate.e)});
        scores.push_back(static_cast<float>(candidate.value));
    }
}

std::size_t LoggedScores::least(std::size_t except) const {
    std::size_t found = none;
    for (std::size_t i = 0; i < scores.size(); ++i)
        if (i != except && (found == none || scores[i] < scores[found]))
            found = i;
    return found;
}

} // namespace ombrel
