#include "settings/CalibrationFacts.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "settings/SettingsFiles.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view levelKey = "Level";
constexpr std::string_view flatFieldsKey = "FlatFields";
constexpr std::string_view flatTimeKey = "FlatTime";
constexpr std::string_view darkKey = "Dark";
constexpr std::string_view darkHashKey = "DarkHash";
constexpr std::string_view darkFramesKey = "DarkFields";
constexpr std::string_view darkWidthKey = "DarkWidth";
constexpr std::string_view darkTimeKey = "DarkTime";
constexpr std::string_view darkVarianceKey = "DarkVariance";
constexpr std::string_view gridDivisorsKey = "GridDivisors";
constexpr std::string_view gridFlatFieldsKey = "GridFlatFields";
constexpr std::string_view maskFramesKey = "MaskFrames";
constexpr std::string_view maskCorrectionKey = "MaskCorrection";
constexpr std::string_view gainKey = "Gain";

template <typename T>
std::optional<T> valueOf(const SettingsTree& settings, std::string_view key) {
    const auto* const value = std::get_if<T>(settings.find(ownGroup, key));
    return value ? std::optional(*value) : std::nullopt;
}

Blob blobOf(const std::vector<double>& values) {
    return Blob(std::as_bytes(std::span(values)));
}

void noteDark(SettingsTree& settings, const DarkField& dark) {
    settings.set(ownGroup, darkFramesKey, dark.frames);
    settings.set(ownGroup, darkHashKey, dark.hash);
    if (dark.seconds != 0)
        settings.set(ownGroup, darkTimeKey, dark.seconds);
    if (dark.variance)
        settings.set(ownGroup, darkVarianceKey, *dark.variance);
    settings.set(ownGroup, darkWidthKey, static_cast<int>(dark.width));
    settings.set(ownGroup, darkKey, blobOf(dark.mean));
}

std::optional<DarkField> darkOf(const SettingsTree& settings, const std::string& path) {
    DarkField dark;
    dark.mean = doublesOf(settings, ownGroup, darkKey);
    if (dark.mean.empty())
        return std::nullopt;
    dark.width = static_cast<zt::u32>(std::max(valueOf<int>(settings, darkWidthKey).value_or(0), 1));
    dark.height = static_cast<zt::u32>(dark.mean.size() / dark.width);
    dark.frames = valueOf<int>(settings, darkFramesKey).value_or(0);
    dark.seconds = valueOf<double>(settings, darkTimeKey).value_or(0);
    dark.hash = valueOf<std::string>(settings, darkHashKey).value_or("");
    dark.variance = valueOf<double>(settings, darkVarianceKey);
    if (dark.frames <= 0 || dark.hash != hashOf(dark))
        throw Error(path + ": the dark that the calibration stored is damaged; calibrate again");
    return dark;
}

} // namespace

std::string hashOf(const DarkField& dark) {
    StreamHash hash;
    hash.add(std::as_bytes(std::span(&dark.width, 1)));
    hash.add(std::as_bytes(std::span(dark.mean)));
    return hash.text();
}

void noteFacts(SettingsTree& settings, const CalibrationFacts& facts) {
    if (facts.level)
        settings.set(ownGroup, levelKey, *facts.level);
    if (facts.flatFields)
        settings.set(ownGroup, flatFieldsKey, *facts.flatFields);
    if (facts.gain)
        settings.set(ownGroup, gainKey, *facts.gain);
    if (!facts.maskFrames.empty())
        settings.set(ownGroup, maskFramesKey, blobOf(facts.maskFrames));
    if (!facts.maskCorrection.empty())
        settings.set(ownGroup, maskCorrectionKey, facts.maskCorrection);
    if (facts.seconds)
        settings.set(ownGroup, flatTimeKey, *facts.seconds);
    if (facts.dark)
        noteDark(settings, *facts.dark);
    if (facts.points.empty())
        return;
    std::vector<double> divisors;
    std::vector<double> flatFields;
    for (const GridPointFacts& point : facts.points) {
        divisors.push_back(point.divisor);
        flatFields.push_back(point.flatFields);
    }
    settings.set(ownGroup, gridDivisorsKey, blobOf(divisors));
    settings.set(ownGroup, gridFlatFieldsKey, blobOf(flatFields));
}

CalibrationFacts factsOf(const SettingsTree& settings, const std::string& path) {
    CalibrationFacts facts;
    facts.level = valueOf<double>(settings, levelKey);
    facts.flatFields = valueOf<int>(settings, flatFieldsKey);
    facts.gain = valueOf<double>(settings, gainKey);
    facts.maskFrames = doublesOf(settings, ownGroup, maskFramesKey);
    facts.maskCorrection = valueOf<std::string>(settings, maskCorrectionKey).value_or("");
    facts.dark = darkOf(settings, path);
    facts.seconds = valueOf<double>(settings, flatTimeKey);
    const auto divisors = doublesOf(settings, ownGroup, gridDivisorsKey);
    const auto flatFields = doublesOf(settings, ownGroup, gridFlatFieldsKey);
    for (std::size_t i = 0; i < std::min(divisors.size(), flatFields.size()); ++i)
        facts.points.push_back({divisors[i], flatFields[i]});
    return facts;
}

CalibrationFacts validFactsOf(const SettingsTree& settings, const std::string& path) {
    if (filterGroupsOf(settings) == FilterGroups::Changed)
        throw Error(path + ": the filter's settings were changed since the calibration, so that its level no "
                           "longer applies; calibrate again");
    return factsOf(settings, path);
}

std::string factsText(const CalibrationFacts& facts) {
    std::string text;
    if (facts.level)
        text += "  level         " + sixDigits(*facts.level) + " counts, of " +
                countText(static_cast<zt::u64>(facts.flatFields.value_or(0)), "flat field") + '\n';
    if (!facts.points.empty())
        text += "  level         of " + countText(facts.points.size(), "grid point") + '\n';
    if (facts.dark)
        text += "  dark          " + countText(static_cast<zt::u64>(facts.dark->frames), "frame") + " of " +
                sizeText(facts.dark->width, facts.dark->height) + ", with the hash " + facts.dark->hash +
                '\n';
    return text;
}

} // namespace ombrel
