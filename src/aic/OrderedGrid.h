#pragma once

#include "aic/CalibrationImages.h"
#include "aic/Kernels.h"
#include "aic/OrderedImage.h"
#include "aic/TileOrder.h"

#include <cstddef>
#include <memory>
#include <vector>

// The images of a calibration grid once more, in TileOrder and with their pixels repaired, for the kernel to
// read from one end to the other. As large as the grid.
class OrderedGrid {
public:
    OrderedGrid() = default;
    OrderedGrid(const TileOrder& order, const c_CalibrationImages& store, const Kernels& kernels);

    // By the index of the grid point in the store; without pixels for a hole.
    const OrderedImage& operator[](std::size_t index) const { return images[index]; }
    bool empty() const { return images.empty(); }
    const TileOrder& order() const { return tileOrder; }

private:
    struct Free {
        void operator()(float* memory) const;
    };

    TileOrder tileOrder;
    std::unique_ptr<float[], Free> pixels;
    std::vector<OrderedImage> images;
};
