#pragma once

#include "zt/IPixelCfg.h"

#include <cstddef>
#include <span>
#include <vector>

namespace ombrel {

// The pixel mask of a device: one byte a pixel, row-major, 0 for a pixel that is masked.
class PixelCfg final : public zt::IPixelCfg {
public:
    // No pixel is masked.
    explicit PixelCfg(std::size_t pixels) : mask(pixels, 1) {}

    // Throws std::invalid_argument when the number of pixels differs.
    void setMask(std::span<const zt::u8> newMask);
    std::span<const zt::u8> maskBytes() const { return mask; }

    // The mask is that of the whole device, whatever the chip.
    void maskData(zt::IByteBuff* out, int chip) override;
    zt::u64 pixelCount() const override { return mask.size(); }

private:
    std::vector<zt::u8> mask;
};

} // namespace ombrel
