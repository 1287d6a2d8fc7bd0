#pragma once

#include "PlainImage.h"

#include <optional>
#include <vector>

namespace plain {

struct QualitySettings {
    Image customMask; // no pixels: none
    Image borderMask; // no pixels: none
    std::vector<float> kernel = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    int tile = 16;
    float threshold = 80; // percent
};

Image highPass(Image image, const QualitySettings& settings);

// Sums of the whole tiles of a filtered image, column of tiles after column of tiles.
std::vector<float> tileSums(const Image& filtered, int tile);

// No value for an image that holds no whole tile.
std::optional<float> quality(const Image& image, const QualitySettings& settings);

} // namespace plain
