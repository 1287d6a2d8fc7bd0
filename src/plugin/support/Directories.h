#pragma once

#include <string>
#include <vector>

// Appends to `out` the entries of a directory, "." and ".." aside, whose names fit the mask (see matchMask),
// in the order in which the system gives them: the names, or with `fullPath` `dir`, "/" and the name. Returns
// 0, or -5 when the directory can't be opened.
int listFilesInDir(const char* dir, const char* mask, bool skipDirs, bool fullPath,
                   std::vector<std::string>& out);

// Removes a file or a whole tree, of which it follows no link and enters no other file system. Returns 0, or
// -1 when something could not be removed; what was not reached by then is left.
int deleteFileDir(std::string path);
