#pragma once

#include "kernels/FillQueue.h"

#include <cstddef>

namespace PluginOmbrel {

// Bad pixels are replaced by the mean of their known neighbours, weighted by inverse distance, in place.
//
// The neighbours of a pixel are the 5 x 5 pixels around it, clipped at the frame's edges. A pixel is filled
// once more than three eighths of these are known. What one pass fills is known to the next, so that wide
// holes fill from the outside in. `data` and `mask` are width * height elements, row by row.
//
// A pass ends at the first row without work below rows with work. The next one begins where the start row
// stands by then, which moves over rows without work, by two a row as long as the pass has changed nothing:
// bad pixels above it stay as they are.

// A neighbourhood that did not suffice is looked at again only once a pixel in it was filled, so that the
// time is linear in the bad pixels, however they lie.

// The codes of a mask while passes run. Besides these, 2 and 3 take turns for what the running pass has
// filled, and what the one before has. The first pass takes a 3 that it finds for such a left-over; any other
// value but GOOD and FILLED is bad.
enum MaskCode : unsigned char {
    MASK_GOOD = 0,
    MASK_BAD = 1,
    MASK_FILLED = 4,  // earlier than in the last pass: known for good
    MASK_WAITING = 5, // bad, and to be looked at again
};

// Runs the passes and leaves their codes in the mask; a bad pixel that stays is 1 or as it came.
template <typename T>
void runInterpolationPasses(T* data, unsigned char* mask, std::size_t width, std::size_t height,
                            FillFront& front);

// Runs the passes and turns each byte of the mask that is not 0 into 1, so that filled pixels are bad for the
// next frame again. Returns 0, or -1 when more than half of the pixels are bad; then nothing is changed.
template <typename T>
int tInterpolateBadPixels(T* data, unsigned char* mask, unsigned long width, unsigned long height,
                          FillFront& front);

// As above, with memory of its own.
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
