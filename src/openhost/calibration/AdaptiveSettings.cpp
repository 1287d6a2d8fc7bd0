#include "calibration/AdaptiveSettings.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <memory>
#include <optional>
#include <type_traits>

namespace ombrel {

namespace {

std::string knownKeys(const SettingsTree& settings) {
    std::string keys;
    for (const SettingsItem& item : settings.find(adaptiveGroup)->items)
        keys += (keys.empty() ? "" : ", ") + item.key;
    return keys;
}

// Reads the text as a value of the type of `like`.
std::optional<SettingsValue> readAs(const SettingsValue& like, const std::string& text) {
    return std::visit(
        [&](const auto& value) -> std::optional<SettingsValue> {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::string>)
                return text;
            else if constexpr (std::is_same_v<T, bool>)
                return readBool(text);
            else if constexpr (std::is_arithmetic_v<T>)
                return readNumber<T>(text);
            else
                return std::nullopt;
        },
        like);
}

} // namespace

SettingsTree defaultAdaptiveSettings(Session& session) {
    const FilterLink link = session.makeLink(adaptiveFilter);
    const auto store = session.host().openSettings("");
    link.filter().saveToSettings(store.get());
    return store->contents();
}

std::set<std::string> assignSettings(SettingsTree& settings, const std::vector<std::string>& assignments) {
    std::set<std::string> keys;
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        const std::string key = assignment.substr(0, equals);
        const SettingsValue* const present = settings.find(adaptiveGroup, key);
        if (equals == std::string::npos || !present)
            throw UsageError("--set " + assignment +
                             ": not KEY=VALUE with a key of the filter; known keys: " + knownKeys(settings));
        const auto value = readAs(*present, assignment.substr(equals + 1));
        if (!value)
            throw UsageError("--set " + assignment + ": the value must be of type " +
                             std::string(settingsTypeName(*present)));
        settings.set(adaptiveGroup, key, *value);
        keys.insert(key);
    }
    return keys;
}

} // namespace ombrel
