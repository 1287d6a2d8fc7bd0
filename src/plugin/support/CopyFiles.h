#pragma once

#include <string>

// Writes the contents of `src` into `dst`, which is made or emptied. Returns 0 also when one of them can't be
// opened; only an exception gives -1.
int copyFile(const char* src, const char* dst);

// Copies the entries of each directory of the tree `src` but the first by name, making directories under
// `dst` as needed. A sub-directory that is not the first itself is copied as if it were a file, and its own
// entries then find no directory to go to. Returns 0, or -1 when the walk can't start; single failures are
// passed over.
int copyFileDir(std::string src, std::string dst);
