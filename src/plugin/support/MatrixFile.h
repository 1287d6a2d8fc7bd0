#pragma once

// Element types of files of numbers; the codes are those of the pixels of frames.
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
    DT_BOOL = 10,   // not in files
    DT_STRING = 11, // not in files
};

// The shape of an ASCII matrix: `height` is the number of lines that are not empty (a line of blanks counts),
// and `width` the number of numbers at the start of the first of them. A file that can't be opened is 0 by 0.
// Returns 0.
int getAsciiMatrixDimensions(const char* path, unsigned long* width, unsigned long* height);

// Matrices as ASCII files: values separated by white space, one row a line. The file has no header; it is
// read as a stream of numbers, and the caller knows the shape. Numbers have a decimal point in every locale.
// Sizes count elements; results are FileResult. The type is checked after the file was opened, so a writer
// has then created or truncated it.

// Reads the first `size` values into `buffer`. Types: 8 to 32 bit integers except DT_I8, and DT_DOUBLE.
// Integers that do not fit their element keep their low bits. After FILE_TOO_SHORT the buffer contains the
// values read so far.
int readAsciiMatrix(const char* path, _DataType type, unsigned long size, void* buffer);

// Writes rows of `width` values (not 0), each row ended by a newline; an incomplete last row ends in a blank.
// Floats are printed with six decimals. Types: those of readAsciiMatrix and DT_FLOAT.
int writeAsciiMatrix(const char* path, _DataType type, void* buffer, unsigned long size, unsigned long width,
                     bool append);

// The same in hexadecimal, padded to the digits of the type, for the integer types. A negative DT_I16 has the
// eight digits of an int.
int writeAsciiMatrixHex(const char* path, _DataType type, void* buffer, unsigned long size,
                        unsigned long width, bool append);
