#include "settings/CalibrationFacts.h"

#include "base/Error.h"
#include "settings/SettingsFiles.h"
#include "zt/Types.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view levelKey = "Level";
constexpr std::string_view flatFieldsKey = "FlatFields";
constexpr std::string_view gridDivisorsKey = "GridDivisors";
constexpr std::string_view gridFlatFieldsKey = "GridFlatFields";

template <typename T>
std::optional<T> valueOf(const SettingsTree& settings, std::string_view key) {
    const auto* const value = std::get_if<T>(settings.find(ownGroup, key));
    return value ? std::optional(*value) : std::nullopt;
}

template <typename T>
Blob blobOf(const std::vector<T>& values) {
    return Blob(std::as_bytes(std::span(values)));
}

template <typename T>
std::vector<T> valuesOf(const SettingsTree& settings, std::string_view key) {
    const auto* const blob = std::get_if<Blob>(settings.find(ownGroup, key));
    std::vector<T> values(blob ? blob->size() / sizeof(T) : 0);
    if (blob)
        blob->copyTo(std::as_writable_bytes(std::span(values)));
    return values;
}

} // namespace

void noteFacts(SettingsTree& settings, const CalibrationFacts& facts) {
    if (facts.level)
        settings.set(ownGroup, levelKey, *facts.level);
    if (facts.flatFields)
        settings.set(ownGroup, flatFieldsKey, *facts.flatFields);
    if (facts.points.empty())
        return;
    std::vector<double> divisors;
    std::vector<zt::i32> flatFields;
    for (const GridPointFacts& point : facts.points) {
        divisors.push_back(point.divisor);
        flatFields.push_back(point.flatFields);
    }
    settings.set(ownGroup, gridDivisorsKey, blobOf(divisors));
    settings.set(ownGroup, gridFlatFieldsKey, blobOf(flatFields));
}

CalibrationFacts factsOf(const SettingsTree& settings) {
    CalibrationFacts facts;
    facts.level = valueOf<double>(settings, levelKey);
    facts.flatFields = valueOf<int>(settings, flatFieldsKey);
    const auto divisors = valuesOf<double>(settings, gridDivisorsKey);
    const auto flatFields = valuesOf<zt::i32>(settings, gridFlatFieldsKey);
    for (std::size_t i = 0; i < std::min(divisors.size(), flatFields.size()); ++i)
        facts.points.push_back({divisors[i], flatFields[i]});
    return facts;
}

CalibrationFacts validFactsOf(const SettingsTree& settings, const std::string& path) {
    if (filterGroupsOf(settings) == FilterGroups::Changed)
        throw Error(path + ": the filter's settings were changed since the calibration, so that its level no "
                           "longer applies; calibrate again");
    return factsOf(settings);
}

} // namespace ombrel
