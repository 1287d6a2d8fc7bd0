#pragma once

#include "base/FileDescriptor.h"
#include "zt/Types.h"

#include <QJsonObject>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace ombrel {

// A file that is replaced in one step: whatever ends the program, the file is the old or the new one, whole.
// All files of the open host are written this way.
//
// The new contents go to a file beside it, ".NAME.new", which takes its place at commit(). It never follows a
// link of that name. One that a killed program left is removed by the next who writes the same file; those
// who write it at once wait for each other. The mode of the file is kept, and a symbolic link still leads to
// it. Throws Error with the path and the system's reason.
class AtomicFile {
public:
    explicit AtomicFile(const std::string& path);
    // Without commit() the file stays as it was.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    const std::string& path() const { return shownPath; }
    void write(std::span<const std::byte> bytes);

    // For those who fill the new file by other means, a filter or the HDF5 library: its name until commit(),
    // its name from then on, and the file itself, which may be written to after commit(), too.
    const std::string& newPath() const { return freshPath; }
    const std::string& finalPath() const { return target; }
    const FileDescriptor& descriptor() const { return fresh; }

    // Brings the new contents to the disk. Of files that are replaced together, all are synced before the
    // first is committed: what is left to do then hardly ever fails.
    void sync();
    // Returns when the new contents are on the disk under the file's name.
    void commit();

private:
    const std::string shownPath;
    const std::string target; // what links lead to
    const std::string freshPath;
    FileDescriptor fresh;
    zt::u64 length = 0;
    bool committed = false;
};

// The file that a chain of symbolic links ends at, there or not. Throws Error when the links form a loop.
std::string endOfLinks(const std::string& path);

// Replaces the file's contents by the text, in one step. Throws Error.
void replaceFile(const std::string& path, std::string_view contents);

// The file that a chain of symbolic links ends at, there or not. Throws Error.
std::string endOfLinks(const std::string& path);
// ".NAME" and the suffix, in the folder of the path; a long name is cut.
std::string hiddenBeside(const std::string& path, const std::string& suffix);
// Whether the name still leads to the open file: it was neither removed nor replaced.
bool isNamed(const FileDescriptor& file, const std::string& path);

// Replaces the file by the object as indented text, in one step. Throws Error.
void writeJsonFile(const std::string& path, const QJsonObject& json);

} // namespace ombrel
