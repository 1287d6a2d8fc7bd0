#pragma once

#include "frame/Frame.h"
#include "host/PixelCfg.h"
#include "zt/IDevMpx.h"

#include <vector>

namespace ombrel {

// A detector that measures nothing: its acquired frames are given to it.
class Device final : public zt::IDevMpx {
public:
    // `deviceType` as in zt::IDev. Throws std::length_error when the pixels can't be counted in 32 bits.
    Device(int deviceType, zt::u32 deviceWidth, zt::u32 deviceHeight);

    // Makes these the frames of the last acquisition. Those of earlier ones stay alive with the device, since
    // a filter may still look at them.
    void setAcquisition(std::vector<FramePtr> frames);

    PixelCfg& pixels() { return cfg; }

    int deviceType() const override { return typeCode; }
    int acqFrameCount() const override { return static_cast<int>(acquired.size()); }
    int acqFrameCountAll() const override { return acqFrameCount(); }
    zt::IMpxFrame* lastAcqFrame() override;
    zt::IMpxFrame* acqFrame(zt::u32 index) override;
    zt::IPixelCfg* pixelCfg() override { return &cfg; }
    zt::u32 width() const override { return columns; }
    zt::u32 height() const override { return rows; }
    zt::u32 pixelCount() const override { return columns * rows; }

private:
    int typeCode;
    zt::u32 columns;
    zt::u32 rows;
    PixelCfg cfg;
    std::vector<FramePtr> acquired;
    std::vector<FramePtr> earlier;
};

} // namespace ombrel
