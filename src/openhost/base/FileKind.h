#pragma once

#include "base/FileDescriptor.h"

#include <string>

namespace ombrel {

enum class FileKind { Tiff, Hdf5, Empty, Directory, Special, Other };

// What a file is by its content. Throws Error when it can't be read.
FileKind fileKind(const FileDescriptor& file);

// Throws Error for an empty file, a folder, a pipe or a device.
void checkRegular(const FileDescriptor& file, const std::string& path);

// True when the content is text whose first word is a number.
bool beginsWithNumber(const FileDescriptor& file);

struct DatasetPath {
    std::string file;
    std::string dataset; // begins with "/"; empty when none is named
};

// Takes "FILE::/path/of/dataset" apart. A file that has such a name itself is taken as it is.
DatasetPath splitDatasetPath(const std::string& path);

} // namespace ombrel
