#pragma once

#include "standalone/FileDescriptor.h"

#include <string>

namespace ombrel {

// A file that comes into being under a temporary name in the directory of its path, and takes the place of
// what stands there in one step. It is gone when the object is destroyed before keep(). Throws Error naming
// the path.
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    const std::string& path() const { return finalPath; }
    const std::string& temporaryPath() const { return temporary; }
    const FileDescriptor& descriptor() const { return file; }

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
    std::string finalPath;
    std::string temporary;
    FileDescriptor file;
    bool published = false;
    bool kept = false;
};

} // namespace ombrel
