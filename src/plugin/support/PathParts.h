#pragma once

#include <string>

// What stands ahead of the last "/"; empty when there is none.
std::string getFileDir(const char* path);

// What stands ahead of the last ".", wherever in the path that is; the whole path when there is none, and
// nothing for null.
std::string getFileNameWithoutExt(const char* path);
