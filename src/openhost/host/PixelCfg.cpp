#include "host/PixelCfg.h"

#include <algorithm>
#include <stdexcept>

namespace ombrel {

void PixelCfg::setMask(std::span<const zt::u8> newMask) {
    if (newMask.size() != mask.size())
        throw std::invalid_argument("a pixel mask of another size than the device");
    std::ranges::copy(newMask, mask.begin());
}

void PixelCfg::maskData(zt::IByteBuff* out, int /*chip*/) {
    out->resizeByte(mask.size());
    std::ranges::copy(mask, out->dataByte());
}

} // namespace ombrel
