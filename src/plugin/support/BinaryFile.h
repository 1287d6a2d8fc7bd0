#pragma once

// Raw bytes in a file, without a header. Sizes are in bytes; results are FileResult.

// Reads the first `size` bytes. A file that has fewer gives FILE_TOO_SHORT, with what there was in the
// buffer.
int readBinary(const char* path, unsigned char* buffer, unsigned long size);

// Writes a new file, or at the end of one that is there.
int writeBinary(const char* path, unsigned char* buffer, unsigned long size, bool append);
