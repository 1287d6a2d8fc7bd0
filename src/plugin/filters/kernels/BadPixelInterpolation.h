#pragma once

#include "kernels/FillFront.h"

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

template <>
void runInterpolationPasses(double* data, unsigned char* mask, std::size_t width, std::size_t height,
                            FillFront& front);
template <>
int tInterpolateBadPixels(double* data, unsigned char* mask, unsigned long width, unsigned long height,
                          FillFront& front);

} // namespace PluginOmbrel
