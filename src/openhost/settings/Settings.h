#pragma once

#include "settings/XmlChunkReader.h"
#include "zt/ISettings.h"

#include <functional>
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

    // Null if the key does not exist.
    const SettingsItem* find(std::string_view key) const;
};

// The group that ombrel itself uses in a filter's settings file. Filters ignore it.
inline constexpr std::string_view ownGroup = "ombrel";

// The contents of a settings store. Groups and keys keep their order.
struct SettingsTree {
    std::vector<SettingsGroup> groups;

    // Null if it does not exist.
    const SettingsGroup* find(std::string_view group) const;
    const SettingsValue* find(std::string_view group, std::string_view key) const;
    // Replaces the value, keeping its position, or appends it.
    void set(std::string_view group, std::string_view key, SettingsValue value);
    // Replaces the group with the same name, keeping its position, or appends it.
    void set(SettingsGroup group);
    void remove(std::string_view group);
};

// The doubles of a blob; empty without it.
std::vector<double> doublesOf(const SettingsTree& settings, std::string_view group, std::string_view key);

// The names of the filters' groups, quoted, for messages.
std::string filterGroups(const SettingsTree& settings);

// "int", "blob" and so on, as in the type attribute of the files.
std::string_view settingsTypeName(const SettingsValue& value);

// A settings store in an XML file:
//
//     <settings>
//       <group name="FF">
//         <item key="CoeffsSize" type="int">65536</item>
//
// with the types bool, int, double, string and blob (base64). The store is empty until it is loaded or set.
//
// Getters convert between int and double if no information is lost. For a value of any other type they log a
// line and return the default.
class Settings final : public zt::ISettings {
public:
    using Log = std::function<void(const std::string& line)>;

    // `lineLog` receives errors of operations that can't report them otherwise.
    Settings(std::string filePath, Log lineLog);

    // Replaces the contents of the store by those of the file. If the file can't be read or is not a settings
    // file, throws Error with path, line and column, and leaves the store unchanged.
    void loadFile() { loadFile(path); }
    // Like loadFile(), from another file.
    void loadFile(const std::string& source);
    // Replaces the file atomically, see AtomicFile. An existing non-empty file must be settings with a group
    // that the store has too. ombrel's own group is taken over from that file. An empty store leaves the file
    // unchanged. Throws Error, with the file unchanged.
    void saveFile();

    const SettingsTree& contents() const { return tree; }

    // loadFile() and saveFile(), which log a failure and return.
    void load() override;
    void save() override;

    void setString(const char* group, const char* key, const char* value) override;
    void setInt(const char* group, const char* key, int value) override;
    void setDouble(const char* group, const char* key, double value) override;
    void setBool(const char* group, const char* key, bool value) override;
    void setBlob(const char* group, const char* key, const void* data, zt::u64 byteSize) override;

    using zt::ISettings::getString;
    void getString(const char* group, const char* key, const char* defaultValue, zt::IString* out) override;
    int getInt(const char* group, const char* key, int defaultValue) override;
    double getDouble(const char* group, const char* key, double defaultValue) override;
    bool getBool(const char* group, const char* key, bool defaultValue) override;
    void getBlob(const char* group, const char* key, void* buffer, zt::u64* byteSize) override;

    using zt::ISettings::getFilePath;
    void getFilePath(zt::IString* out) const override;
    void destroy() override { delete this; }

private:
    // Throws Error if the store must not replace the contents of the file.
    void keepOwnGroupOfFile();
    // The value of type T; null if it does not exist or, after logging a line, has another type.
    template <typename T>
    const T* find(const char* group, const char* key) const;
    void logWrongType(const char* group, const char* key, const SettingsValue& value,
                      std::string_view asked) const;

    std::string path;
    Log log;
    SettingsTree tree;
};

} // namespace ombrel
