#pragma once

#include "host/Session.h"
#include "settings/Settings.h"

#include <set>
#include <string>
#include <vector>

namespace ombrel {

// The settings of the adaptive filter, all of them explicit.

inline constexpr const char* adaptiveFilter = "AdaptiveFF";
inline constexpr const char* adaptiveGroup = "Settings";
// Values of "Search".
inline constexpr int lookAroundSearch = 1;
inline constexpr int mosaicSearch = 2;

// The settings of a new instance of the filter.
SettingsTree defaultAdaptiveSettings(Session& session);

// Sets each "KEY=VALUE", reading the value as the key's type, and returns the keys. Throws UsageError for an
// unknown key (listing the known ones) or a value of another type.
std::set<std::string> assignSettings(SettingsTree& settings, const std::vector<std::string>& assignments);

// The value of a key; T must be its type.
template <typename T>
const T& adaptiveSetting(const SettingsTree& settings, const char* key) {
    return std::get<T>(*settings.find(adaptiveGroup, key));
}

} // namespace ombrel
