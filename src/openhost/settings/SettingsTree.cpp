#include "settings/SettingsTree.h"

#include <algorithm>
#include <array>

namespace ombrel {

const SettingsItem* SettingsGroup::find(std::string_view key) const {
    const auto found = std::ranges::find(items, key, &SettingsItem::key);
    return found == items.end() ? nullptr : &*found;
}

const SettingsGroup* SettingsTree::find(std::string_view group) const {
    const auto found = std::ranges::find(groups, group, &SettingsGroup::name);
    return found == groups.end() ? nullptr : &*found;
}

const SettingsValue* SettingsTree::find(std::string_view group, std::string_view key) const {
    const SettingsGroup* const place = find(group);
    const SettingsItem* const item = place ? place->find(key) : nullptr;
    return item ? &item->value : nullptr;
}

void SettingsTree::set(std::string_view group, std::string_view key, SettingsValue value) {
    auto place = std::ranges::find(groups, group, &SettingsGroup::name);
    if (place == groups.end())
        place = groups.insert(groups.end(), SettingsGroup{std::string(group), {}});
    const auto item = std::ranges::find(place->items, key, &SettingsItem::key);
    if (item == place->items.end())
        place->items.push_back({std::string(key), std::move(value)});
    else
        item->value = std::move(value);
}

void SettingsTree::set(SettingsGroup group) {
    const auto place = std::ranges::find(groups, group.name, &SettingsGroup::name);
    if (place == groups.end())
        groups.push_back(std::move(group));
    else
        *place = std::move(group);
}

void SettingsTree::remove(std::string_view group) {
    std::erase_if(groups, [&](const SettingsGroup& each) { return each.name == group; });
}

std::string filterGroups(const SettingsTree& settings) {
    std::string names;
    for (const SettingsGroup& group : settings.groups)
        if (group.name != ownGroup)
            names += (names.empty() ? "\"" : ", \"") + group.name + '"';
    return names.empty() ? "no group" : names;
}

std::string_view settingsTypeName(const SettingsValue& value) {
    constexpr std::array<std::string_view, 5> names{"bool", "int", "double", "string", "blob"};
    return names[value.index()];
}

} // namespace ombrel
