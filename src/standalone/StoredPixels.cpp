#include "standalone/StoredPixels.h"

#include "host/DataType.h"
#include "standalone/PixelType.h"

#include <algorithm>
#include <limits>

namespace ombrel {

StoredPixels::StoredPixels(const OutputPlan& plan) : pixelType{plan.pixelType} {
    if (pixelType != zt::DT_FLOAT && pixelType != zt::DT_DOUBLE)
        throw std::invalid_argument("an output stores float or double");
    frame.resize(std::size_t{plan.width} * plan.height * pixelSize(pixelType));
}

std::span<const std::byte> StoredPixels::store(std::span<const double> pixels) {
    if (pixels.size() * pixelSize(pixelType) != frame.size())
        throw std::invalid_argument("a frame of another size than planned");
    if (pixelType == zt::DT_DOUBLE)
        return std::as_bytes(pixels);
    std::ranges::transform(pixels, reinterpret_cast<float*>(frame.data()),
                           [](double pixel) { return static_cast<float>(pixel); });
    return frame;
}

std::span<const std::byte> StoredPixels::storeFailed() {
    if (pixelType == zt::DT_DOUBLE)
        std::ranges::fill(std::span(reinterpret_cast<double*>(frame.data()), frame.size() / sizeof(double)),
                          std::numeric_limits<double>::quiet_NaN());
    else
        std::ranges::fill(std::span(reinterpret_cast<float*>(frame.data()), frame.size() / sizeof(float)),
                          std::numeric_limits<float>::quiet_NaN());
    return frame;
}

} // namespace ombrel
