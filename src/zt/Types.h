#pragma once

#include <cstdint>

namespace zt {

// Fixed-width integers under the names that the interfaces use.
using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i8 = std::int8_t;
using i16 = std::int16_t;
using i32 = std::int32_t;
using i64 = std::int64_t;

// One numbering for the pixels of frames and for the values of parameters.
enum DataType : u8 {
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
    DT_BOOL = 10,   // parameters only
    DT_STRING = 11, // parameters only
};

// What the operations of a filter return: 0 is success, everything negative a failure.
enum ErrorCode : int {
    ERR_NONE = 0,
    ERR_GENERIC = -1,
    ERR_INVALID_INPUT = -1005,  // wrong input or dimensions
    ERR_CANNOT_READ = -1010,    // a file or a frame could not be read
    ERR_FRAME_SIZE = -1017,     // frame dimensions do not match the masks (beam hardening, in place)
    ERR_CANNOT_CORRECT = -1018, // the correction itself failed
};

} // namespace zt
