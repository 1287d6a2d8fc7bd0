#pragma once

#include "stack/FrameStack.h"
#include "zt/Types.h"

#include <functional>
#include <string>
#include <vector>

namespace ombrel {

struct BadPixelLimits {
    double falseDiscoveryRate = 0.001; // of noisy pixels
    double deviation = 6; // of the response from the neighbourhood, in robust standard deviations
};

// What repeated pictures of the open beam, and of no beam, show of each pixel.
struct BadPixels {
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u64 flats = 0;
    zt::u64 darks = 0;
    std::vector<zt::u32> faults; // see PixelFaults.h
    std::vector<double> mean;    // counts of each pixel; for pictures
    double noiseScale = 1;       // the variance of the set's pixels over that of photon statistics
    zt::u64 faint = 0;           // pixels with too few counts for a judgement of their noise
};

// The least numbers of flat fields with which noise, and the kinds of noise, are judged.
inline constexpr zt::u64 leastFlatsForNoise = 3;
inline constexpr zt::u64 leastFlatsForKinds = 8;

// Judges each pixel. `darks` may be null. `known` holds faults that are known before, 0 for none; pixels with
// one keep it and are not judged. `frameRead` is called after each frame that is read; flats are read up to
// three times, darks once. Throws Error for a flat field whose level is far from that of the others, and if
// no pixel counts.
BadPixels findBadPixels(FrameStack& flats, FrameStack* darks, const std::vector<zt::u32>& known,
                        const BadPixelLimits& limits, const std::function<void()>& frameRead);

} // namespace ombrel
