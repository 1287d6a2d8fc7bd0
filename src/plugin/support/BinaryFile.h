#pragma once

#include <cstdio>
#include <memory>

// Results of the functions on files of numbers.
enum FileResult : int {
    FILE_OK = 0,
    FILE_NOT_OPENED = -1,   // null path, or the file cannot be opened
    FILE_TOO_SHORT = -2,    // fewer values could be read than asked for
    FILE_NOT_WRITTEN = -3,  // a value could not be written
    FILE_TYPE_REFUSED = -4, // data type not accepted
};

struct CloseStdioFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// An open file that is closed with its scope; null when it could not be opened.
using StdioFile = std::unique_ptr<std::FILE, CloseStdioFile>;

inline StdioFile openStdioFile(const char* path, const char* mode) {
    return StdioFile(path ? std::fopen(path, mode) : nullptr);
}

// False when buffered data could not be written.
inline bool closeWritten(StdioFile file) {
    return std::fclose(file.release()) == 0;
}

// Raw bytes in a file, without a header. Sizes are in bytes; results are FileResult.

// Reads the first `size` bytes. A shorter file returns FILE_TOO_SHORT, with its bytes in the buffer.
int readBinary(const char* path, unsigned char* buffer, unsigned long size);

// Writes a new file, or appends to an existing one.
int writeBinary(const char* path, unsigned char* buffer, unsigned long size, bool append);
