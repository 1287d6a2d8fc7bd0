#pragma once

#include "base/AtomicFile.h"

#include <memory>
#include <string>

namespace ombrel {

// The file of an output: made beside its path, put in its place in one step, and filled further there. It is
// gone when the object is destroyed before keep(). Throws Error with the path and the system's reason, and
// when another run is writing the file.
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    // The file that stands at the path, to be filled further. It stays, whatever happens.
    static OutputFile reopen(const std::string& path);
    OutputFile(OutputFile&&) noexcept = default;
    OutputFile& operator=(OutputFile&&) = delete;
    ~OutputFile();

    const std::string& path() const { return shownPath; }
    // Its name until publish().
    const std::string& newPath() const { return fresh->newPath(); }
    const FileDescriptor& descriptor() const { return fresh ? fresh->descriptor() : present; }

    // Takes room on the disk for a file of that size; the file then has it.
    void reserveSize(zt::u64 bytes);
    // Takes the room, where the file system can do so without a change of the file's size.
    void reserveBehind(zt::u64 bytes);
    // Cuts the file, and gives back room taken behind that size.
    void cut(zt::u64 bytes);

    // Puts the file in its place, synced to the disk as it is by now.
    void publish();
    // Throws Error when the file was removed or replaced since: what is written goes nowhere.
    void checkInPlace() const;
    // From now on the file stays, whatever happens.
    void keep() { kept = true; }

private:
    OutputFile(const std::string& path, FileDescriptor file);

    std::string shownPath;
    std::unique_ptr<AtomicFile> fresh; // null for a file that stood there
    FileDescriptor present;
    std::string target; // what links at the path lead to
    bool published = false;
    bool kept = false;
};

} // namespace ombrel
