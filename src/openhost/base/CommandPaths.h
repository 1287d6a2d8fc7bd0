#pragma once

#include "base/Console.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace ombrel {

// Whether a path comes from the command line or from a file that the command reads (settings, a table, a
// record).
enum class NamedBy { CommandLine, File };

// What a command does to a file that exists.
enum class WhenThere { Refuse, Replace, Append };

// The paths that a command reads and writes. No file may be written that the command also reads or writes
// under another role. Paths are compared as files, after resolving links.
//
// `what` names the file for messages, as in "PATH: is both an input and the output".
class CommandPaths {
public:
    // A path may end in "::/dataset", as inputs do.
    void reads(const std::string& path, const std::string& what, NamedBy by = NamedBy::CommandLine);
    // The files that are read through `path`. They are listed only if a file to be written exists: a new one
    // cannot be among them. A path that was given before is ignored.
    void readsThrough(const std::string& path, const std::string& what,
                      std::function<std::vector<std::string>()> list);
    void writes(const std::string& path, const std::string& what, WhenThere whenThere,
                NamedBy by = NamedBy::CommandLine);
    // All files in a folder whose names match a rule; the folder need not exist yet.
    void writesInto(const std::string& folder, const std::string& what,
                    std::function<bool(const std::string& name)> isName, NamedBy by = NamedBy::CommandLine);

    // Checks all paths. Opens the log once the log itself is checked, so that it records the refusals of
    // existing files and of places that cannot be written. Nothing else is opened. Throws UsageError when two
    // paths of the command line are the same file, and Error.
    void check(Console& console, const std::string& log = {});

private:
    // A file that does not exist is identified by its folder and its name.
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        std::string name;

        auto operator<=>(const Identity&) const = default;
    };
    struct Entry {
        std::string path;
        std::string what;
        NamedBy by;
        std::optional<WhenThere> whenWritten;
        Identity file;
        Identity folder;
        std::string name;
        bool isSpecial; // a device or a pipe, which may be named twice
    };
    struct Sources {
        std::string what;
        std::function<std::vector<std::string>()> list;
    };
    struct Family {
        std::string what;
        NamedBy by;
        Identity folder;
        std::function<bool(const std::string& name)> isName;
    };

    static Entry entryOf(const std::string& path, const std::string& what, NamedBy by);
    static Identity identityOf(const std::filesystem::path& path);
    static void refuse(const Entry& written, const Entry& other);
    void listSources();
    void checkDistinct() const;
    void checkFamily(const Family& family) const;
    void checkPlaces() const;

    std::vector<Entry> entries;
    std::map<std::string, Sources> sources; // by the path that leads to them
    std::vector<Family> families;
};

} // namespace ombrel
