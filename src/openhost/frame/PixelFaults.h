#pragma once

#include "zt/Types.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

namespace ombrel {

// Why a pixel is not trusted: bits of a 32-bit value, 0 for a good pixel. Bits 0 to 8 are those of
// `pixel_mask` of NeXus; bits 16 to 20 are free there.
namespace fault {
inline constexpr zt::u32 gap = 1U << 0;
inline constexpr zt::u32 dead = 1U << 1;
inline constexpr zt::u32 under = 1U << 2; // under-responding
inline constexpr zt::u32 over = 1U << 3;  // over-responding, or hot
inline constexpr zt::u32 noisy = 1U << 4;
inline constexpr zt::u32 masked = 1U << 8;              // by a user or a mask without reasons
inline constexpr zt::u32 flickering = noisy | 1U << 16; // programs that know NeXus alone see a noisy pixel
inline constexpr zt::u32 bursting = noisy | 1U << 17;
inline constexpr zt::u32 notFinite = dead | 1U << 18;
inline constexpr zt::u32 thickness = 1U << 20; // the masks of a beam-hardening correction do not fall
inline constexpr zt::u32 filled = 1U << 19;    // a filter fills it from its neighbours in every frame
} // namespace fault

// "noisy, filled"; other bits are named by their number. Empty for a good pixel.
std::string faultText(zt::u32 faults);

// The number of pixels with each reason that occurs, in the order of the bits.
std::vector<std::pair<std::string, zt::u64>> countFaults(std::span<const zt::u32> pixels);

// The number of pixels with any fault.
zt::u64 countFaulty(std::span<const zt::u32> pixels);

} // namespace ombrel
