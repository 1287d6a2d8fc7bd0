#pragma once

#include <string>
#include <vector>

// 1 when the whole name fits the mask, else 0. In the mask * stands for any run of characters, also an empty
// one, and ? for any one character but a dot; case counts.
int matchMask(const char* name, const char* mask);

// What stands ahead of the last "/"; empty when there is none.
std::string getFileDir(const char* path);

// What stands ahead of the last ".", wherever in the path that is; the whole path when there is none, and
// nothing for null.
std::string getFileNameWithoutExt(const char* path);

// The size of a file in bytes; -1 when there is no such file, and for a directory or anything else that has
// no size.
long fileSize(const char* path);

// Appends to `out` the entries of a directory, "." and ".." aside, whose names fit the mask (see matchMask),
// in the order in which the system gives them: the names, or with `fullPath` `dir`, "/" and the name. Returns
// 0, or -5 when the directory can't be opened.
int listFilesInDir(const char* dir, const char* mask, bool skipDirs, bool fullPath,
                   std::vector<std::string>& out);

// Removes a file or a whole tree, of which it follows no link and enters no other file system. Returns 0, or
// -1 when something could not be removed; what was not reached by then is left.
int deleteFileDir(std::string path);

// Writes the contents of `src` into `dst`, which is made or emptied. Returns 0 also when one of them can't be
// opened; only an exception gives -1.
int copyFile(const char* src, const char* dst);

// Copies the entries of each directory of the tree `src` but the first by name, making directories under
// `dst` as needed. A sub-directory that is not the first itself is copied as if it were a file, and its own
// entries then find no directory to go to. Returns 0, or -1 when the walk can't start; single failures are
// passed over.
int copyFileDir(std::string src, std::string dst);

// True when both files can be opened and hold the same bytes. They are read `bufferSize` bytes at a time.
bool isFilesEqual(const char* a, const char* b, unsigned long bufferSize);
