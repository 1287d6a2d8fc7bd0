#include "frame/Quantity.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ombrel {

namespace {

constexpr std::array<std::string_view, 3> quantityNames{"counts", "transmission", "attenuation"};

} // namespace

std::string_view quantityName(Quantity quantity) {
    return quantityNames[static_cast<std::size_t>(quantity)];
}

Quantity parseQuantity(const std::string& text) {
    const auto found = std::ranges::find(quantityNames, text);
    if (found == quantityNames.end())
        throw UsageError("--quantity " + text + ": not counts, transmission or attenuation");
    return static_cast<Quantity>(found - quantityNames.begin());
}

std::string_view quantityUnits(Quantity quantity) {
    return quantity == Quantity::Counts ? "counts" : "1";
}

zt::u64 FrameScale::convert(std::span<double> counts) const {
    if (quantity == Quantity::Counts)
        return 0;
    for (double& pixel : counts)
        pixel /= level;
    if (quantity == Quantity::Transmission)
        return 0;
    zt::u64 notPositive = 0;
    for (double& pixel : counts) {
        const bool hasNone = pixel <= 0;
        notPositive += hasNone ? 1 : 0;
        pixel = hasNone ? notANumber : -std::log(pixel);
    }
    return notPositive;
}

void FrameScale::convertErrors(std::span<float> errors, std::span<const double> counts) const {
    for (std::size_t i = 0; i < errors.size(); ++i)
        if (quantity == Quantity::Transmission)
            errors[i] = static_cast<float>(errors[i] / level);
        else if (quantity == Quantity::Attenuation)
            errors[i] = static_cast<float>(counts[i] > 0 ? errors[i] / counts[i] : notANumber);
}

} // namespace ombrel
