#pragma once

#include <string>
#include <vector>

// Returns 1 when the whole name matches the mask, else 0. In the mask * matches any run of characters, also
// an empty one, and ? any one character except a dot; case-sensitive.
int matchMask(const char* name, const char* mask);

// The part before the last "/"; empty without one.
std::string getFileDir(const char* path);

// The part before the last ".", wherever in the path that is; the whole path without one, and an empty text
// for null.
std::string getFileNameWithoutExt(const char* path);

// The size of a file in bytes; -1 for a missing file, a directory, or anything else without a size.
long fileSize(const char* path);

// Appends to `out` the entries of a directory, except "." and "..", whose names match the mask (see
// matchMask), in the order of the system: the names, or with `fullPath` `dir`, "/" and the name. Returns 0,
// or -5 when the directory can't be opened.
int listFilesInDir(const char* dir, const char* mask, bool skipDirs, bool fullPath,
                   std::vector<std::string>& out);

// Removes a file or a whole tree, without following links or entering other file systems. Returns 0, or -1
// when something could not be removed; the rest is then left.
int deleteFileDir(std::string path);

// Copies the contents of `src` to `dst`, which is created or truncated. Returns 0 even when one of them can't
// be opened; -1 only after an exception.
int copyFile(const char* src, const char* dst);

// Copies the entries of each directory of the tree `src`, except the first by name, creating directories
// under `dst` as needed. A sub-directory that is not itself the first is copied as if it were a file, so its
// own entries have no target directory. Returns 0, or -1 when the walk can't start; single failures are
// ignored.
int copyFileDir(std::string src, std::string dst);

// True when both files can be opened and have the same bytes. They are read `bufferSize` bytes at a time.
bool isFilesEqual(const char* a, const char* b, unsigned long bufferSize);
