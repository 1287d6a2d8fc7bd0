#pragma once

#include "kernels/FillQueue.h"

#include <cstddef>

namespace PluginOmbrel {

// Replaces bad pixels by the mean of their known neighbours, weighted by inverse distance, in place.
//
// The neighbours of a pixel are the 5 x 5 pixels around it, clipped at the frame's edges. A pixel is filled
// when more than three eighths of these are known. Pixels filled in one pass are known in the next, so wide
// holes fill from the outside in. `data` and `mask` have width * height elements, row by row.
//
// A pass ends at the first row without work below rows with work. The next pass begins at the start row as it
// is then. The start row moves over rows without work, by two for each as long as the pass has changed
// nothing: bad pixels above it stay unchanged.

// A neighbourhood with too few known pixels is checked again only after a pixel in it was filled, so the time
// is linear in the number of bad pixels, however they lie.

// The codes of a mask while passes run. In addition, 2 and 3 alternate as the codes of pixels filled in the
// running pass and in the one before. The first pass treats an initial 3 as filled in the pass before; any
// other value except GOOD and FILLED is bad.
enum MaskCode : unsigned char {
    MASK_GOOD = 0,
    MASK_BAD = 1,
    MASK_FILLED = 4,  // earlier than in the last pass: always known
    MASK_WAITING = 5, // bad, to be checked again
};

// Runs the passes and leaves their codes in the mask; a bad pixel that stays is 1 or has its initial value.
template <typename T>
void runInterpolationPasses(T* data, unsigned char* mask, std::size_t width, std::size_t height,
                            FillFront& front);

// Runs the passes and sets each non-zero byte of the mask to 1, so that filled pixels are bad again for the
// next frame. Returns 0, or -1 without any change when more than half of the pixels are bad.
template <typename T>
int tInterpolateBadPixels(T* data, unsigned char* mask, unsigned long width, unsigned long height,
                          FillFront& front);

// As above, with temporary memory.
template <typename T>
int tInterpolateBadPixels(T* data, unsigned char* mask, unsigned long width, unsigned long height) {
    FillFront front;
    return tInterpolateBadPixels(data, mask, width, height, front);
}

extern template void runInterpolationPasses<double>(double*, unsigned char*, std::size_t, std::size_t,
                                                    FillFront&);
extern template int tInterpolateBadPixels<double>(double*, unsigned char*, unsigned long, unsigned long,
                                                  FillFront&);

} // namespace PluginOmbrel
