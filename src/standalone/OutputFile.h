#pragma once

#include "standalone/AtomicFile.h"

#include <string>

namespace ombrel {

// The file of an output: made beside its path, put in its place in one step, and filled further there. It is
// gone when the object is destroyed before keep(). Throws Error with the path and the system's reason.
class OutputFile {
public:
    explicit OutputFile(const std::string& path) : file{path} {}
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    const std::string& path() const { return file.path(); }
    // Its name until publish().
    const std::string& newPath() const { return file.newPath(); }
    const FileDescriptor& descriptor() const { return file.descriptor(); }

    // Takes room on the disk for a file of that size; the file then has it.
    void reserveSize(zt::u64 bytes);
    // Takes the room, where the file system can do so without a change of the file's size.
    void reserveBehind(zt::u64 bytes);
    // Cuts the file, and gives back room taken behind that size.
    void cut(zt::u64 bytes);

    // Puts the file in its place, synced to the disk as it is by now.
    void publish();
    // From now on the file stays, whatever happens.
    void keep() { kept = true; }

private:
    AtomicFile file;
    bool published = false;
    bool kept = false;
};

} // namespace ombrel
