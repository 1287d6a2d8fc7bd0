#pragma once

#include "zt/IDataBuff.h"
#include "zt/Types.h"

namespace zt {

// The pixel configuration of a device.
class IPixelCfg {
public:
    // Sizes the buffer to one byte a pixel and fills it; 0 means masked. Filters pass chip 0, the whole
    // device.
    virtual void maskData(IByteBuff* out, int chip) = 0;
    virtual u64 pixelCount() const = 0;
};

} // namespace zt
