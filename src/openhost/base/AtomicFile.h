#pragma once

#include "base/FileDescriptor.h"
#include "zt/Types.h"

#include <QJsonObject>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace ombrel {

// A file that is replaced atomically: if the program dies, the file holds either all of the old contents or
// all of the new. All files of the open host are written this way.
//
// The new contents go to ".NAME.new" in the same folder, which commit() renames to the file. A link of that
// name is never followed. One left by a killed program is removed by the next writer of the same file;
// concurrent writers wait for each other. The file keeps its mode, and a symbolic link keeps its target.
// Throws Error with the path and the system's reason.
class AtomicFile {
public:
    explicit AtomicFile(const std::string& path);
    // Without commit() the file is left unchanged.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    const std::string& path() const { return shownPath; }
    void write(std::span<const std::byte> bytes);

    // For code that writes the new file by other means (a filter, the HDF5 library): its name until commit(),
    // its name afterwards, and its descriptor, which may also be written to after commit().
    const std::string& newPath() const { return freshPath; }
    const std::string& finalPath() const { return target; }
    const FileDescriptor& descriptor() const { return fresh; }

    // Flushes the new contents to the disk. When several files are replaced together, sync all before
    // committing the first: what remains then hardly ever fails.
    void sync();
    // Returns when the new contents are on the disk under the file's name.
    void commit();

private:
    const std::string shownPath;
    const std::string target; // after following links
    const std::string freshPath;
    FileDescriptor fresh;
    zt::u64 length = 0;
    bool committed = false;
};

// The file at the end of a chain of symbolic links, which need not exist. Throws Error when the links form a
// loop.
std::string endOfLinks(const std::string& path);

// Atomically replaces the file's contents by the text. Throws Error.
void replaceFile(const std::string& path, std::string_view contents);

// ".NAME" and the suffix, in the folder of the path; a long name is truncated.
std::string hiddenBeside(const std::string& path, const std::string& suffix);
// Whether the path still refers to the open file, which may have been removed or replaced.
bool isNamed(const FileDescriptor& file, const std::string& path);

// Atomically replaces the file's contents by the object as indented text. Throws Error.
void writeJsonFile(const std::string& path, const QJsonObject& json);

} // namespace ombrel
