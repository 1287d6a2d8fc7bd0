#pragma once

#include "PlainImage.h"

namespace plain {

struct PreProcessSettings {
    bool enabled = true;
    Image compensateMask; // no pixels: none
    float badPixelRatio = 3;
    Image badPixels; // no pixels: none; above 0.5 is bad
    float lowQuantile = 0.05f;
    float highQuantile = 0.95f;
};

Image withoutBadPixels(const Image& image, const PreProcessSettings& settings);

// Gives the level that the result is multiplied by at the end.
Image preProcessed(const Image& frame, const PreProcessSettings& settings, float& scaleFactor);

} // namespace plain
