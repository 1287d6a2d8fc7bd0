#pragma once

#include "support/DataType.h"

// Matrices as ASCII files: values separated by white space, one row a line. The file has no header; its
// reader takes it as a stream of numbers, and the shape comes from the caller. Numbers have a decimal point
// under every locale. Sizes count elements; results are FileResult. A refused type is found out after the
// file was opened, so that a writer has made or emptied it by then.

// Reads the first `size` values into `buffer`. Types: 8 to 32 bit integers but DT_I8, and DT_DOUBLE. Integers
// that do not fit their element keep their low bits. With FILE_TOO_SHORT the values got so far are in the
// buffer.
int readAsciiMatrix(const char* path, _DataType type, unsigned long size, void* buffer);

// Writes rows of `width` values (not 0), each row ended by a newline; a last row that is not full ends in a
// blank. Floats are printed with six decimals. Types: those of readAsciiMatrix and DT_FLOAT.
int writeAsciiMatrix(const char* path, _DataType type, void* buffer, unsigned long size, unsigned long width,
                     bool append);

// The same in hexadecimal, padded to the digits of the type, for the integer types. A negative DT_I16 takes
// the eight digits of an int.
int writeAsciiMatrixHex(const char* path, _DataType type, void* buffer, unsigned long size,
                        unsigned long width, bool append);
