#pragma once

#include "store/CalibrationImages.h"
#include "tiles/Kernels.h"
#include "tiles/TileOrder.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

// The images of a calibration grid in TileOrder and with their pixels repaired, for the kernel to read from
// one end to the other. Kept for all frames, which takes as much memory as the grid. Where the order would
// need far more, since tiles are large or few and it pads them, each image is arranged when it is asked for.
class OrderedGrid {
public:
    OrderedGrid() = default;
    // The store must outlive the grid.
    OrderedGrid(const TileOrder& order, const c_CalibrationImages& store, const Kernels& kernels);

    // By the index of the grid point in the store, which must have an image. An image is valid until another
    // one is asked for at its slot, of which a pass has one for each candidate.
    OrderedImage image(std::size_t index, std::size_t slot);

private:
    struct Free {
        void operator()(float* memory) const;
    };

    void arrange(std::span<const float> image, float* ordered) const;

    TileOrder tileOrder;
    const c_CalibrationImages* images = nullptr;
    std::unique_ptr<float[], Free> pixels; // of all images, or of one for each slot
    std::vector<std::size_t> places;       // of images among the pixels
    std::vector<MagnitudeBits> magnitudes;
    bool keepsAll = false;
};
