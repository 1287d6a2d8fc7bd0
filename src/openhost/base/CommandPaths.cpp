#include "base/CommandPaths.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace ombrel {

namespace {

namespace fs = std::filesystem;

constexpr const char* cannotWrite = "cannot be written";

fs::path folderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

// Whether a new file can be made in the folder of `file`.
void checkFolder(const std::string& path, const fs::path& file) {
    const fs::path folder = folderOf(file);
    std::error_code failure;
    if (!fs::exists(folder, failure))
        throw Error(path + ": " + cannotWrite + ": the folder " + folder.string() +
                    " does not exist; create it or choose another one");
    if (!fs::is_directory(folder, failure))
        throw Error(path + ": " + cannotWrite + ": " + folder.string() + " is not a folder");
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw Error(systemErrorText(path, cannotWrite, errno));
}

void checkPlace(const std::string& path, WhenThere whenThere) {
    std::error_code failure;
    if (fs::is_directory(path, failure))
        throw Error(path + ": is a directory; choose a file");
    if (whenThere == WhenThere::Refuse && fs::exists(fs::symlink_status(path, failure)))
        throw Error(path + ": exists; give --force to replace it");
    const bool exists = fs::exists(path, failure);
    if (exists && ::access(path.c_str(), W_OK) != 0)
        throw Error(systemErrorText(path, cannotWrite, errno));
    if (!exists || (whenThere != WhenThere::Append && fs::is_regular_file(path, failure)))
        checkFolder(path, endOfLinks(path));
}

} // namespace

CommandPaths::Identity CommandPaths::identityOf(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0)
        return {status.st_dev, status.st_ino, {}};
    if (::stat(folderOf(path).c_str(), &status) == 0)
        return {status.st_dev, status.st_ino, path.filename().string()};
    std::error_code failure;
    return {0, 0, fs::weakly_canonical(fs::absolute(path, failure), failure).string()};
}

CommandPaths::Entry CommandPaths::entryOf(const std::string& path, const std::string& what, NamedBy by) {
    const fs::path target = endOfLinks(path);
    std::error_code failure;
    const fs::file_status status = fs::status(path, failure);
    return {.path = path,
            .what = what,
            .by = by,
            .whenWritten = std::nullopt,
            .file = identityOf(target),
            .folder = identityOf(folderOf(target)),
            .name = target.filename().string(),
            .isSpecial = fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status)};
}

void CommandPaths::reads(const std::string& path, const std::string& what, NamedBy by) {
    // A file whose own name contains "::" is not split.
    entries.push_back(entryOf(splitDatasetPath(path).file, what, by));
}

void CommandPaths::readsThrough(const std::string& path, const std::string& what,
                                std::function<std::vector<std::string>()> list) {
    sources.emplace(path, Sources{what, std::move(list)});
}

void CommandPaths::listSources() {
    const auto exists = [](const Entry& entry) { return entry.whenWritten && entry.file.name.empty(); };
    if (std::ranges::none_of(entries, exists))
        return;
    for (const auto& [path, source] : sources)
        for (const std::string& file : source.list())
            if (entryOf(file, source.what, NamedBy::File).file != identityOf(path))
                reads(file, source.what, NamedBy::File);
    sources.clear();
}

void CommandPaths::writes(const std::string& path, const std::string& what, WhenThere whenThere, NamedBy by) {
    // Several filters may share the same settings.
    const auto same = [&](const Entry& entry) {
        return entry.whenWritten && entry.path == path && entry.what == what;
    };
    if (std::ranges::any_of(entries, same))
        return;
    entries.push_back(entryOf(path, what, by));
    entries.back().whenWritten = whenThere;
}

void CommandPaths::writesInto(const std::string& folder, const std::string& what,
                              std::function<bool(const std::string& name)> isName, NamedBy by) {
    // Existing files may be links to others.
    std::error_code failure;
    for (const auto& file : fs::directory_iterator(folder, failure))
        if (isName(file.path().filename().string())) {
            entries.push_back(entryOf(file.path().string(), what, by));
            entries.back().whenWritten = WhenThere::Replace;
        }
    families.push_back({what, by, identityOf(folder), std::move(isName)});
}

void CommandPaths::refuse(const Entry& written, const Entry& other) {
    std::string text = written.path + ": is both " + other.what + " and " + written.what;
    if (other.path != written.path)
        text += " (" + other.path + " is the same file)";
    text += "; choose another file for " + written.what;
    if (written.by == NamedBy::CommandLine && other.by == NamedBy::CommandLine)
        throw UsageError(text);
    throw Error(text);
}

void CommandPaths::checkFamily(const Family& family) const {
    for (const Entry& entry : entries)
        if (entry.what != family.what && entry.folder == family.folder && family.isName(entry.name)) {
            Entry member = entry;
            member.what = family.what;
            member.by = family.by;
            refuse(member, entry);
        }
}

void CommandPaths::checkDistinct() const {
    std::map<Identity, const Entry*> known;
    for (const Entry& entry : entries)
        if (!entry.whenWritten && !entry.isSpecial)
            known.emplace(entry.file, &entry);
    // Of two written files, the message names the later one as the one to change.
    for (const Entry& entry : entries) {
        if (!entry.whenWritten || entry.isSpecial)
            continue;
        if (const auto [other, isNew] = known.emplace(entry.file, &entry); !isNew)
            refuse(entry, *other->second);
    }
    for (const Family& family : families)
        checkFamily(family);
}

void CommandPaths::checkPlaces() const {
    for (const Entry& entry : entries)
        if (entry.whenWritten)
            checkPlace(entry.path, *entry.whenWritten);
}

void CommandPaths::check(Console& console, const std::string& log) {
    if (!log.empty())
        writes(log, "the log", WhenThere::Append);
    listSources();
    checkDistinct();
    if (!log.empty()) {
        checkPlace(log, WhenThere::Append);
        console.openLog(log);
    }
    checkPlaces();
}

} // namespace ombrel
