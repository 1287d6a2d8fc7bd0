#include "kernels/CoefficientTable.h"

#include "kernels/Median.h"

#include <algorithm>

namespace PluginOmbrel {

void meanOfColumns(std::span<const double> image, std::size_t height, std::span<double> columns) {
    const auto divisor = static_cast<double>(height);
    std::ranges::fill(columns, 0.0);
    for (std::size_t y = 0; y < height; ++y) {
        const double* const row = image.data() + y * columns.size();
        for (std::size_t x = 0; x < columns.size(); ++x)
            columns[x] += row[x] / divisor;
    }
}

void toCoefficients(std::span<double> flatField) {
    const double median = medianOf(flatField);
    for (double& value : flatField)
        value = value == 0 ? 0 : median / value;
}

} // namespace PluginOmbrel
