#include "kernels/BadPixelMask.h"

#include "zt/DataType.h"
#include "zt/RefDataBuff.h"

#include <algorithm>
#include <cstring>

namespace PluginOmbrel {

namespace {

// T is the type of the frame's pixels. The look at them is not const in the interface; nothing is written.
template <typename T, typename IsZero>
void markWhere(const zt::IMpxFrame& frame, std::span<unsigned char> mask, IsZero isZero) {
    zt::RefDataBuff<T> pixels;
    const_cast<zt::IMpxFrame&>(frame).refData(&pixels, 0.0);
    const T* const values = pixels.data();
    for (std::size_t i = 0; i < mask.size(); ++i)
        mask[i] = isZero(values[i]);
}

} // namespace

void markZeroPixels(const zt::IMpxFrame& frame, std::span<unsigned char> mask) {
    const auto isZero = [](auto value) { return value == 0; };
    switch (frame.frameDataType()) {
    case zt::DT_I16:
        return markWhere<short>(frame, mask, isZero);
    case zt::DT_U32:
        return markWhere<unsigned int>(frame, mask, isZero);
    case zt::DT_DOUBLE:
        return markWhere<double>(frame, mask, isZero);
    case zt::DT_U64:
        // Taken for a double, the bits are a zero with or without the sign.
        return markWhere<zt::u64>(frame, mask, [](zt::u64 bits) { return bits << 1 == 0; });
    default:
        std::ranges::fill(mask, static_cast<unsigned char>(0));
    }
}

void markExtremeCoefficients(std::span<const double> coefficients, double under, double over,
                             std::span<unsigned char> mask) {
    for (std::size_t i = 0; i < mask.size(); ++i) {
        const int tooHigh = coefficients[i] > over;
        const int tooLow = coefficients[i] < under;
        mask[i] = static_cast<unsigned char>(tooHigh | tooLow);
    }
}

void markMaskedPixels(std::span<const unsigned char> deviceMask, std::span<unsigned char> mask) {
    const std::size_t known = std::min(deviceMask.size(), mask.size());
    for (std::size_t i = 0; i < known; ++i)
        mask[i] = deviceMask[i] == 0 ? 1 : mask[i];
}

} // namespace PluginOmbrel
