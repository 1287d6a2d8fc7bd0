#pragma once

#include "hdf5/Hdf5Handle.h"

#include <optional>
#include <string>

namespace ombrel {

// Opens the file for reading, whoever has locked it. Throws Error: "PATH: PROBLEM: the library's reason".
Hdf5FileHandle openHdf5(const std::string& path, const std::string& problem);

// Opens what a path leads to, in other files too. A link to a pipe or a device is not followed, since opening
// it would hang. Not open when there is nothing.
Hdf5Object openHdf5Object(hid_t place, const std::string& path);

// Access properties of that class with which the library follows links as openHdf5Object() does.
Hdf5Properties hdf5Access(hid_t propertyClass);

// Why a path does not open: the link on it that leads nowhere.
struct DeadLink {
    std::string text; // "/entry/data is a link to raw.h5::/data, which does not exist"
    bool intoOtherFile = false;
};

// Nothing when nothing has that name.
std::optional<DeadLink> deadLinkOn(hid_t place, const std::string& path, int depth = 0);

// The file that the library takes for a name in a link or a virtual dataset of another file.
struct LinkedFile {
    std::string path;    // the first of its places where there is a file; empty when there is none
    std::string problem; // "does not exist" or "is no regular file"; empty for a file that may be opened
};

// `prefixVariable` is the environment variable that names folders to look in first.
LinkedFile findLinkedFile(const std::string& name, const std::string& owner, const char* prefixVariable);

// The path by which the file was opened that an object is in.
std::string hdf5FileName(hid_t object);

} // namespace ombrel
