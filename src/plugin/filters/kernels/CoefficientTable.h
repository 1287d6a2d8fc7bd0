#pragma once

#include "kernels/BadPixelMask.h"
#include "kernels/Buffer.h"
#include "kernels/PixelBits.h"

#include <cstddef>
#include <span>

namespace PluginOmbrel {

// Coefficients, one a pixel, that know which of them are extreme. Each way to write them forgets that.
class CoefficientTable {
public:
    std::size_t size() const { return table.size(); }
    bool empty() const { return table.empty(); }
    const Buffer<double>& values() const { return table; }

    // For writing at once: don't keep the span. The contents stay if the size does.
    std::span<double> resized(std::size_t count) {
        isKnown = false;
        table.resize(count);
        return table.span();
    }
    void swap(Buffer<double>& other) {
        isKnown = false;
        table.swap(other);
    }

    // The coefficients above `over` or below `under`.
    const PixelBits& extremes(double under, double over) {
        if (!isKnown || under != knownUnder || over != knownOver) {
            markExtremeCoefficients(table.span(), under, over, marks);
            knownUnder = under;
            knownOver = over;
            isKnown = true;
        }
        return marks;
    }

private:
    Buffer<double> table;
    PixelBits marks;
    double knownUnder = 0;
    double knownOver = 0;
    bool isKnown = false;
};

} // namespace PluginOmbrel
