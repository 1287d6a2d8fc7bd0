#include "support/PathParts.h"

#include <string_view>

std::string getFileDir(const char* path) {
    const std::string_view whole = path;
    const std::size_t slash = whole.rfind('/');
    return std::string(whole.substr(0, slash == whole.npos ? 0 : slash));
}

std::string getFileNameWithoutExt(const char* path) {
    const std::string_view whole = path ? path : "";
    return std::string(whole.substr(0, whole.rfind('.')));
}
