#pragma once

#include "kernels/Buffer.h"
#include "zt/Types.h"

#include <string>

namespace PluginOmbrel {

// A frame measured through a known thickness. Its values are counts as they were measured, and become
// logarithms of the count rate once the first frame is filtered.
class BHMask {
public:
    BHMask(std::string maskName, zt::u64 maskWidth, zt::u64 maskHeight, double seconds, double maskThickness)
        : acqTime(seconds), thickness(maskThickness), name(std::move(maskName)), width(maskWidth),
          height(maskHeight) {}
    virtual ~BHMask() = default;

    Buffer<double> data;    // one a pixel, row by row
    Buffer<double> tdiData; // one a column, the mean of its values
    double acqTime;         // seconds
    double thickness;       // in the unit that corrected frames come out in
    std::string name;
    zt::u64 width;
    zt::u64 height;
    bool logarithmed = false; // the values are logarithms
};

} // namespace PluginOmbrel
