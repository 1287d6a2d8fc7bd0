#pragma once

#include "frame/Frame.h"
#include "zt/IDevMpx.h"
#include "zt/Types.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

struct FrameSize {
    zt::u32 width = 0;
    zt::u32 height = 0;
};

// Parses "WxH", each side from 1 to 65535. Throws UsageError that names the option.
FrameSize parseFrameSize(const std::string& option, const std::string& text);

// The pixel mask of a device: one byte per pixel, row-major, 0 for a masked pixel.
class PixelCfg final : public zt::IPixelCfg {
public:
    // Masks no pixel.
    explicit PixelCfg(std::size_t pixels) : mask(pixels, 1) {}

    // Throws std::invalid_argument if the number of pixels differs.
    void setMask(std::span<const zt::u8> newMask);
    std::span<const zt::u8> maskBytes() const { return mask; }

    // The mask of the whole device, whatever the chip.
    void maskData(zt::IByteBuff* out, int chip) override;
    zt::u64 pixelCount() const override { return mask.size(); }

private:
    std::vector<zt::u8> mask;
};

// Reads the first frame of a file as a mask for frames of this size. Throws Error, also for another size.
FramePtr readMaskFrame(const std::string& path, zt::u32 width, zt::u32 height);

// A detector that does not measure: its acquired frames are set from outside.
class Device final : public zt::IDevMpx {
public:
    // `deviceType` as in zt::IDev. Throws std::length_error if the number of pixels exceeds 32 bits.
    Device(int deviceType, zt::u32 deviceWidth, zt::u32 deviceHeight);

    // Sets the frames of the last acquisition. Those of earlier ones live as long as the device, since a
    // filter may still use them.
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
