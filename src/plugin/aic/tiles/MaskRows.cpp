#include "tiles/MaskRows.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

MaskRows::MaskRows(const TileOrder& order, std::span<const AICImage* const> masks) {
    const auto cols = static_cast<std::size_t>(order.cols);
    std::vector<float> row(cols);
    std::vector<float> above;
    std::vector<std::size_t> offsets;
    for (std::size_t y = 0; y < static_cast<std::size_t>(order.rows); ++y) {
        std::ranges::fill(row, 1.0f);
        for (const AICImage* mask : masks) {
            const std::span<const float> pixels = mask->pixels().subspan(y * cols, cols);
            std::ranges::transform(row, pixels, row.begin(), std::multiplies<>{});
        }
        if (row != above) { // a row with NaN is never the same
            offsets.push_back(factors.size());
            factors.resize(factors.size() + order.rowSize(), 0.0f);
            order.arrangeRow(row.data(), &factors[offsets.back()]);
            binary = binary && std::ranges::all_of(row, [](float f) { return f == 0 || f == 1; });
            for (const float factor : row) {
                largest = std::isnan(largest) || largest > std::fabs(factor) ? largest : std::fabs(factor);
            }
            above = row;
        } else {
            offsets.push_back(offsets.back());
        }
    }
    for (const std::size_t offset : offsets) {
        starts.push_back(factors.data() + offset);
    }
}
