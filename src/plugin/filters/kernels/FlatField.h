#pragma once

#include "zt/FrameHolder.h"
#include "zt/IZenteo.h"

#include <cstddef>
#include <optional>
#include <span>

namespace PluginOmbrel {

// The sum of frames, in double.
class FrameSum {
public:
    explicit FrameSum(zt::IDataMgr& dataMgr) : frames(dataMgr) {}

    // The first frame sets the size of the sum. Returns 0, ERR_INVALID_INPUT for a frame with a different
    // number of pixels, or ERR_GENERIC when the host returns no frame for the sum.
    int add(zt::IMpxFrame& frame);
    // Turns the sum into the mean.
    void divideByCount();

    bool empty() const { return count == 0; }
    std::span<const double> pixels() const;
    // Null when empty; otherwise of type double, and owned by the sum.
    const zt::IMpxFrame* frame() const { return sum ? sum->get() : nullptr; }

private:
    zt::IDataMgr& frames;
    std::optional<zt::FrameHolder> sum;
    int count = 0;
};

// The median of a table: for an even count the lower of the two middle values, for an empty table 0.
//
// It equals the result of a bisection between the smallest and the largest value, to the last bit: a median
// of zero has the sign of the bisection's result, and a table with infinities can have NaN as its median.
// NaNs count as equal to every pivot. Needs scratch memory of up to twice the table's size, and linear time.
double medianOf(std::span<const double> values);

// Sets column x to the mean of column x of an image, whose width is the number of columns. Each pixel is
// divided by the height before it is added.
void meanOfColumns(std::span<const double> image, std::size_t height, std::span<double> columns);

// Turns a flat field into coefficients, in place: the median of all values divided by each. A value of 0 gets
// the coefficient 0, so that a dead pixel becomes 0.
void toCoefficients(std::span<double> flatField);

// Multiplies pixel i by factor i, in place. There must be as many factors as pixels.
void multiplyPixels(std::span<double> pixels, std::span<const double> factors);

// Multiplies pixel i by factor (i modulo the number of factors), in place: one factor a column when there are
// as many factors as columns. There must be at least one factor.
void multiplyColumns(std::span<double> pixels, std::span<const double> factors);

} // namespace PluginOmbrel
