#pragma once

#include "zt/IMpxFrame.h"
#include "zt/Types.h"

namespace zt {

// Makes frames and reads them from files. Every frame comes with one reference for the caller, or is null.
class IDataMgr {
public:
    virtual IMpxFrame* createFrame(u32 width, u32 height, u8 dataType) = 0;
    virtual IMpxFrame* loadFrame(const char* path, u32 frameIndex) = 0;
    virtual u32 frameCountInFile(const char* path) = 0;
    // False makes the caller read the file as an ASCII matrix.
    virtual bool isFrameFile(const char* path) = 0;
};

} // namespace zt
