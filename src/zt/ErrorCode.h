#pragma once

namespace zt {

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
