#pragma once

#include "settings/Blob.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ombrel {

using SettingsValue = std::variant<bool, int, double, std::string, Blob>;

struct SettingsItem {
    std::string key;
    SettingsValue value;
};

struct SettingsGroup {
    std::string name;
    std::vector<SettingsItem> items;

    // Null when there is none.
    const SettingsItem* find(std::string_view key) const;
};

// The group that the open host keeps for itself in a filter's settings file. Filters ignore it.
inline constexpr std::string_view ownGroup = "ombrel";

// What a settings store holds. Groups and keys keep the order in which they came.
struct SettingsTree {
    std::vector<SettingsGroup> groups;

    // Null when there is none.
    const SettingsGroup* find(std::string_view group) const;
    const SettingsValue* find(std::string_view group, std::string_view key) const;
    // Replaces the value in its place, or appends it.
    void set(std::string_view group, std::string_view key, SettingsValue value);
    // Puts the group in the place of the one of its name, or at the end.
    void set(SettingsGroup group);
    void remove(std::string_view group);
};

// The names of the filters' groups, quoted, for messages.
std::string filterGroups(const SettingsTree& settings);

// "int", "blob" and so on, as in the type attribute of the files.
std::string_view settingsTypeName(const SettingsValue& value);

} // namespace ombrel
