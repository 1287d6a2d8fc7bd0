#pragma once

#include <string>

namespace ombrel {

// Loads a shared library, which stays loaded until the program ends, and gives the address of one of its
// entries. Throws Error that names the path: no such file, no shared library for this machine, one that is
// cut off, no such entry.
void* entryOfLibrary(const std::string& path, const char* entryName);

} // namespace ombrel
