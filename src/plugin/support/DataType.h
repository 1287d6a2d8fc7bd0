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
