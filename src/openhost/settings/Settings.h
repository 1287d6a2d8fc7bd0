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

// A settings store on an XML file:
//
//     <settings>
//       <group name="FF">
//         <item key="CoeffsSize" type="int">65536</item>
//
// with the types bool, int, double, string and blob (base64). The store is empty until it is loaded or set.
//
// Getters convert between int and double where no part of the value is lost. For a value of any other type
// they log a line and give the default.
class Settings final : public zt::ISettings {
public:
    using Log = std::function<void(const std::string& line)>;

    // `lineLog` gets what goes wrong in the operations that can't report it otherwise.
    Settings(std::string filePath, Log lineLog);

    // Replaces what the store holds by what the file holds. Throws Error naming path, line and column, with
    // the store as it was, when the file can't be read or is no settings file.
    void loadFile() { loadFile(path); }
    // The same from another file than the store's own.
    void loadFile(const std::string& source);
    // Replaces the file in one step, as AtomicFile does. A file that holds anything must be settings with a
    // group that the store has too; the open host's own group of that file is kept, and is then the store's.
    // A store that holds nothing leaves the file alone. Throws Error, with the file as it was.
    void saveFile();

    const SettingsTree& contents() const { return tree; }

    // loadFile() and saveFile(), which log the failure and return.
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
    // Throws Error when the file may not be replaced by what the store holds.
    void keepOwnGroupOfFile();
    // The value of type T; null when there is none, or, after a line in the log, when it is of another type.
    template <typename T>
    const T* find(const char* group, const char* key) const;
    void logWrongType(const char* group, const char* key, const SettingsValue& value,
                      std::string_view asked) const;

    std::string path;
    Log log;
    SettingsTree tree;
};

} // namespace ombrel
