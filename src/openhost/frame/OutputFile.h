#pragma once

#include "base/AtomicFile.h"

#include <memory>
#include <string>

namespace ombrel {

// The file of an output: created next to its path, renamed to it atomically, and filled further there. It is
// removed if the object is destroyed before keep(). Throws Error with the path and the system's reason, or if
// another run is writing the file.
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    // Opens the existing file at the path, to be filled further. It is never removed.
    static OutputFile reopen(const std::string& path);
    OutputFile(OutputFile&&) noexcept = default;
    OutputFile& operator=(OutputFile&&) = delete;
    ~OutputFile();

    const std::string& path() const { return shownPath; }
    // The name of the file until publish().
    const std::string& newPath() const { return fresh->newPath(); }
    const FileDescriptor& descriptor() const { return fresh ? fresh->descriptor() : present; }

    // Allocates space on the disk for a file of that size and sets its size.
    void reserveSize(zt::u64 bytes);
    // Allocates the space if the file system can do so without changing the file's size.
    void reserveBehind(zt::u64 bytes);
    // Truncates the file, and frees space allocated beyond that size.
    void cut(zt::u64 bytes);

    // Flushes the file to the disk and renames it to its path.
    void publish();
    // Throws Error if the file was removed or replaced: everything written to it would be lost.
    void checkInPlace() const;
    // From now on the file is never removed.
    void keep() { kept = true; }

private:
    OutputFile(const std::string& path, FileDescriptor file);

    std::string shownPath;
    std::unique_ptr<AtomicFile> fresh; // null for a file that existed before
    FileDescriptor present;
    std::string target; // after following links
    bool published = false;
    bool kept = false;
};

} // namespace ombrel
