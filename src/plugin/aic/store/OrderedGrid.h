#pragma once

#include "store/CalibrationImages.h"
#include "tiles/Kernels.h"
#include "tiles/TileOrder.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

// The images of a calibration grid in TileOrder and with their pixels repaired, for the kernel to read
// sequentially. Kept for all frames, which needs as much memory as the grid. If the padding of TileOrder
// would need far more, because tiles are large or few, each image is arranged on request instead.
class OrderedGrid {
public:
    OrderedGrid() = default;
    // The store must outlive the grid.
    OrderedGrid(const TileOrder& order, const c_CalibrationImages& store, const Kernels& kernels);

    // `index` is that of the grid point in the store, which must have an image. The result is valid until
    // another image is requested for the same slot; a pass has one slot for each candidate.
    OrderedImage image(std::size_t index, std::size_t slot);

private:
    struct Free {
        void operator()(float* memory) const;
    };

    void arrange(std::span<const float> image, float* ordered) const;

    TileOrder tileOrder;
    const c_CalibrationImages* images = nullptr;
    std::unique_ptr<float[], Free> pixels; // of all images, or one image for each slot
    std::vector<std::size_t> places;       // offsets of the images in `pixels`
    std::vector<MagnitudeBits> magnitudes;
    bool keepsAll = false;
};
