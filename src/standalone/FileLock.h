#pragma once

#include <string>

namespace ombrel {

// A file that a program writes over a long time is locked, so that no second one writes it too. The lock ends
// with the descriptor, however the program ends. Readers, the tools of HDF5 among them, are not kept out.

// Throws Error when another holds the lock. File systems without locks go without.
void lockForWriting(int descriptor, const std::string& path);

// Whether a program writes the file at the path; false when there is none.
bool isBeingWritten(const std::string& path);

} // namespace ombrel
