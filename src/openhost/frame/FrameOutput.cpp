#include "frame/FrameOutput.h"

#include "zt/Types.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace ombrel {

namespace {

template <typename T>
std::vector<std::byte> nanPixels(std::size_t count) {
    const std::vector<T> pixels(count, std::numeric_limits<T>::quiet_NaN());
    const auto bytes = std::as_bytes(std::span(pixels));
    return {bytes.begin(), bytes.end()};
}

} // namespace

void FrameOutput::storePlane(std::size_t, std::span<const float>) {
    throw std::logic_error("an output of this format has no planes");
}

std::vector<std::byte> failedFramePixels(const OutputPlan& plan) {
    const std::size_t count = std::size_t{plan.width} * plan.height;
    if (plan.packing) {
        const std::vector<zt::u16> pixels(count, plan.packing->storedNan());
        const auto bytes = std::as_bytes(std::span(pixels));
        return {bytes.begin(), bytes.end()};
    }
    if (plan.pixelType == zt::DT_FLOAT)
        return nanPixels<float>(count);
    if (plan.pixelType == zt::DT_DOUBLE)
        return nanPixels<double>(count);
    throw std::invalid_argument("an output stores float, double or packed pixels");
}

} // namespace ombrel
