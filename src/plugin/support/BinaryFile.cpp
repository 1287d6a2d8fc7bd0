#include "support/BinaryFile.h"

int readBinary(const char* path, unsigned char* buffer, unsigned long size) {
    const StdioFile file = openStdioFile(path, "rb");
    if (!file)
        return FILE_NOT_OPENED;
    const bool whole = size == 0 || std::fread(buffer, 1, size, file.get()) == size;
    return whole ? FILE_OK : FILE_TOO_SHORT;
}

int writeBinary(const char* path, unsigned char* buffer, unsigned long size, bool append) {
    StdioFile file = openStdioFile(path, append ? "a+b" : "wb");
    if (!file)
        return FILE_NOT_OPENED;
    const bool whole = size == 0 || std::fwrite(buffer, 1, size, file.get()) == size;
    return closeWritten(std::move(file)) && whole ? FILE_OK : FILE_NOT_WRITTEN;
}
