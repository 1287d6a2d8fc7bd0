#pragma once

#include "host/Chain.h"
#include "host/Device.h"
#include "host/Host.h"
#include "stack/PixelMask.h"
#include "zt/Types.h"

#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// The pixels of an output that are not measured values in any of its frames, with the reasons of
// PixelFaults.h: those of the device's mask, those with extreme coefficients, and those whose thickness masks
// do not fall; with fault::filled where a filter fills them. Binning spreads a fault over its pixels. What
// depends on the frame, such as pixels of value 0, and what AdaptiveFF repairs by itself, is not included.
// The settings of the links must be loaded.
std::vector<zt::u32> touchedPixels(Host& host, const Device& device, std::span<FilterLink* const> links,
                                   const std::optional<PixelMask>& mask);

} // namespace ombrel
