#pragma once

#include "standalone/FileDescriptor.h"

#include <string>

namespace ombrel {

enum class FileKind { Tiff, Hdf5, Empty, Directory, Special, Other };

// Tells a file by its content. Throws Error when it can't be read.
FileKind fileKind(const FileDescriptor& file);

struct DatasetPath {
    std::string file;
    std::string dataset; // begins with "/"; empty when none is named
};

// Takes "FILE::/path/of/dataset" apart. A file that has such a name itself is taken as it is.
DatasetPath splitDatasetPath(const std::string& path);

} // namespace ombrel
