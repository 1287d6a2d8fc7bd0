#pragma once

#include "zt/IDataBuff.h"
#include "zt/IMpxFrame.h"
#include "zt/Types.h"

namespace zt {

class IDev {
public:
    // 1, 2, 3, 4 and 10 are pixel detectors: such a device is an IDevMpx at the same address.
    virtual int deviceType() const = 0;
};

// The pixel configuration of a device.
class IPixelCfg {
public:
    // Sizes the buffer to one byte a pixel and fills it; 0 means masked. Filters pass chip 0, the whole
    // device.
    virtual void maskData(IByteBuff* out, int chip) = 0;
    virtual u64 pixelCount() const = 0;
};

// A pixel detector. It outlives its filters, and its acquired frames live as long as it does.
class IDevMpx : public IDev {
public:
    // Frames of the last acquisition. The beam-hardening filter calls the first, the flat-field filter the
    // second.
    virtual int acqFrameCount() const = 0;
    virtual int acqFrameCountAll() const = 0;
    // A measured frame with one reference for the caller, or null.
    virtual IMpxFrame* lastAcqFrame() = 0;
    virtual IMpxFrame* acqFrame(u32 index) = 0;
    // Owned by the device; never null.
    virtual IPixelCfg* pixelCfg() = 0;
    virtual u32 width() const = 0;
    virtual u32 height() const = 0;
    virtual u32 pixelCount() const = 0; // width() * height()
};

} // namespace zt
