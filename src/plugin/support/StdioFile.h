#pragma once

#include <cstdio>
#include <memory>

struct CloseStdioFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// An open file that is closed with its scope; null when it could not be opened.
using StdioFile = std::unique_ptr<std::FILE, CloseStdioFile>;

inline StdioFile openStdioFile(const char* path, const char* mode) {
    return StdioFile(path ? std::fopen(path, mode) : nullptr);
}

// False when what was still buffered could not be written.
inline bool closeWritten(StdioFile file) {
    return std::fclose(file.release()) == 0;
}
