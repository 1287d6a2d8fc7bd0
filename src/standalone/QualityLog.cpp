#include "standalone/QualityLog.h"

#include "standalone/CsvLine.h"
#include "standalone/Error.h"
#include "standalone/NotANumber.h"
#include "standalone/NumberText.h"

#include <cmath>
#include <fstream>
#include <string_view>

namespace ombrel {

namespace {

// "[ V, T, E, value ]"
std::optional<QualityValue> readLine(const std::string& line) {
    if (!line.starts_with("[ ") || !line.ends_with(" ]"))
        return std::nullopt;
    const auto fields = splitCsvLine(std::string_view(line).substr(2, line.size() - 4));
    if (!fields || fields->size() != 4)
        return std::nullopt;
    const auto value = readNumber<double>((*fields)[3]);
    if (!value || std::isnan(*value))
        return std::nullopt;
    return QualityValue{(*fields)[0], (*fields)[1], (*fields)[2], *value};
}

ScoredPoint scored(const QualityValue* candidate) {
    if (!candidate)
        return {notANumber, notANumber, notANumber, notANumber};
    const auto number = [](const std::string& text) { return readNumber<double>(text).value_or(notANumber); };
    return {number(candidate->v), number(candidate->t), number(candidate->e), candidate->value};
}

} // namespace

std::vector<QualityValue> readQualityLog(const std::string& path) {
    std::ifstream log(path);
    if (!log)
        throw Error(path + ": the filter wrote no quality values there");
    std::vector<QualityValue> candidates;
    for (std::string line; std::getline(log, line);)
        if (auto candidate = readLine(line))
            candidates.push_back(std::move(*candidate));
    return candidates;
}

std::optional<GridChoice> choiceOf(const std::vector<QualityValue>& candidates) {
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
    return GridChoice{scored(best), scored(next), next && next->value == best->value};
}

} // namespace ombrel
