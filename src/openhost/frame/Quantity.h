#pragma once

#include "zt/Types.h"

#include <span>
#include <string>
#include <string_view>

namespace ombrel {

// What the pixels of an output are.
enum class Quantity {
    Counts,       // as the last filter returns them
    Transmission, // counts over those of the open beam, the level
    Attenuation,  // the negative natural logarithm of the transmission
};

// "counts", "transmission" or "attenuation", as in options and records.
std::string_view quantityName(Quantity quantity);
// Throws UsageError that names the option.
Quantity parseQuantity(const std::string& text);
// The unit of transmission and attenuation is 1.
std::string_view quantityUnits(Quantity quantity);

// How the counts of one frame become a quantity.
struct FrameScale {
    Quantity quantity = Quantity::Counts;
    double level = 1; // counts of the open beam

    // Converts counts in place. Pixels of 0 or below have no attenuation: they become NaN, and their number
    // is returned.
    zt::u64 convert(std::span<double> counts) const;
    // Converts the standard deviations of these counts in place. What has no attenuation has NaN.
    void convertErrors(std::span<float> errors, std::span<const double> counts) const;
};

} // namespace ombrel
