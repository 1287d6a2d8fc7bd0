#include "settings/Settings.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "settings/SettingsFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>

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
    std::erase_if(
        groups, [&](const SettingsGroup& each) { return each.name == group; });
}

std::vector<double> doublesOf(const SettingsTree& settings, std::string_view group, std::string_view key) {
    const auto* const blob = std::get_if<Blob>(settings.find(group, key));
    std::vector<double> values(blob ? blob->size() / sizeof(double) : 0);
    if (blob)
        blob->copyTo(std::as_writable_bytes(std::span(values)));
    return values;
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

namespace {

std::string_view textOf(const char* text) {
    return text ? text : "";
}

bool shareGroup(const SettingsTree& one, const SettingsTree& other) {
    return std::ranges::any_of(
        one.groups,
        [&](const SettingsGroup& group) { return group.name != ownGroup && other.find(group.name); });
}

} // namespace

Settings::Settings(std::string filePath, Log lineLog) : path(std::move(filePath)), log(std::move(lineLog)) {}

void Settings::loadFile(const std::string& source) {
    tree = readSettings(source);
}

void Settings::keepOwnGroupOfFile() {
    std::error_code none;
    const auto bytes = std::filesystem::file_size(path, none);
    if (none || bytes == 0)
        return;
    const auto before = readReplaceable(path);
    if (!shareGroup(before, tree))
        throw Error(path + ": holds other settings (" + filterGroups(before) + ", not " + filterGroups(tree) +
                    ") and is not replaced; choose another name");
    tree.remove(ownGroup);
    if (const SettingsGroup* const kept = before.find(ownGroup))
        tree.set(*kept);
}

void Settings::saveFile() {
    if (tree.groups.empty())
        return;
    AtomicFile file(path);
    keepOwnGroupOfFile();
    writeSettings(tree, file);
    file.commit();
}

void Settings::load() {
    try {
        loadFile();
    } catch (const std::exception& error) {
        log(error.what());
    }
}

void Settings::save() {
    try {
        saveFile();
    } catch (const std::exception& error) {
        log(error.what());
    }
}

void Settings::setString(const char* group, const char* key, const char* value) {
    tree.set(textOf(group), textOf(key), std::string(textOf(value)));
}

void Settings::setInt(const char* group, const char* key, int value) {
    tree.set(textOf(group), textOf(key), value);
}

void Settings::setDouble(const char* group, const char* key, double value) {
    tree.set(textOf(group), textOf(key), value);
}

void Settings::setBool(const char* group, const char* key, bool value) {
    tree.set(textOf(group), textOf(key), value);
}

void Settings::setBlob(const char* group, const char* key, const void* data, zt::u64 byteSize) {
    const std::span bytes(static_cast<const std::byte*>(data), static_cast<std::size_t>(byteSize));
    tree.set(textOf(group), textOf(key), Blob(bytes));
}

void Settings::logWrongType(const char* group, const char* key, const SettingsValue& value,
                            std::string_view asked) const {
    log(path + ": group \"" + std::string(textOf(group)) + "\", key \"" + std::string(textOf(key)) +
        "\": the value has type " + std::string(settingsTypeName(value)) + ", but " + std::string(asked) +
        " was requested");
}

template <typename T>
const T* Settings::find(const char* group, const char* key) const {
    const SettingsValue* const value = tree.find(textOf(group), textOf(key));
    const T* const typed = std::get_if<T>(value);
    if (value && !typed)
        logWrongType(group, key, *value, settingsTypeName(T{}));
    return typed;
}

void Settings::getString(const char* group, const char* key, const char* defaultValue, zt::IString* out) {
    const std::string* const value = find<std::string>(group, key);
    out->set(value ? value->c_str() : textOf(defaultValue).data());
}

int Settings::getInt(const char* group, const char* key, int defaultValue) {
    const SettingsValue* const value = tree.find(textOf(group), textOf(key));
    const double* const number = std::get_if<double>(value);
    if (number && *number == std::trunc(*number) && std::abs(*number) <= std::numeric_limits<int>::max())
        return static_cast<int>(*number);
    const int* const exact = find<int>(group, key);
    return exact ? *exact : defaultValue;
}

double Settings::getDouble(const char* group, const char* key, double defaultValue) {
    const SettingsValue* const value = tree.find(textOf(group), textOf(key));
    if (const int* const whole = std::get_if<int>(value))
        return *whole;
    const double* const exact = find<double>(group, key);
    return exact ? *exact : defaultValue;
}

bool Settings::getBool(const char* group, const char* key, bool defaultValue) {
    const bool* const value = find<bool>(group, key);
    return value ? *value : defaultValue;
}

void Settings::getBlob(const char* group, const char* key, void* buffer, zt::u64* byteSize) {
    const Blob* const value = find<Blob>(group, key);
    const std::span out(static_cast<std::byte*>(buffer), static_cast<std::size_t>(*byteSize));
    *byteSize = value ? value->copyTo(out) : 0;
}

void Settings::getFilePath(zt::IString* out) const {
    out->set(path.c_str());
}

} // namespace ombrel
