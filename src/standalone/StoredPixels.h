#pragma once

#include "standalone/FrameOutput.h"

#include <span>
#include <vector>

namespace ombrel {

// Turns the doubles of corrected frames into the bytes that an output stores.
class StoredPixels {
public:
    // Throws std::invalid_argument when the plan's pixel type is neither float nor double.
    explicit StoredPixels(const OutputPlan& plan);

    std::size_t frameBytes() const { return frame.size(); }
    // Valid until the next call. Doubles beyond the range of float become infinite.
    std::span<const std::byte> store(std::span<const double> pixels);
    // A frame of NaN.
    std::span<const std::byte> storeFailed();

private:
    zt::u8 pixelType;
    std::vector<std::byte> frame;
};

} // namespace ombrel
