#pragma once

// Element types of files of numbers, under the codes that the pixels of frames have.
enum _DataType {
    DT_I8 = 0,
    DT_U8 = 1,
    DT_I16 = 2,
    DT_U16 = 3,
    DT_I32 = 4,
    DT_U32 = 5,
    DT_I64 = 6,
    DT_U64 = 7,
    DT_FLOAT = 8,
    DT_DOUBLE = 9,
    DT_BOOL = 10,   // in no file
    DT_STRING = 11, // in no file
};

// The shape of an ASCII matrix: `height` is the number of lines that are not empty (one of blanks alone is
// not), and `width` how many numbers the first of them begins with. A file that can't be opened is 0 by 0.
// Returns 0.
int getAsciiMatrixDimensions(const char* path, unsigned long* width, unsigned long* height);

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
