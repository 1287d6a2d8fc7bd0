#include "image/AICImage.h"
#include "image/BinCounts.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace {

// Index of the start of a row of pixels. Rows so far away that the product could overflow are outside every
// image, so they are clamped.
std::int64_t indexOfRow(std::int64_t row, int cols) {
    constexpr std::int64_t beyond = std::int64_t{1} << 32;
    return std::clamp(row, -beyond, beyond) * cols;
}

} // namespace

void AICImage::generate_borders(int step, int half, float value) {
    std::int64_t column = 0; // nearest grid line, as a number of pixels of the running index
    std::int64_t row = 0;
    const auto count = static_cast<std::int64_t>(values.size());
    for (std::int64_t i = 0; i < count; ++i) {
        if (i > column + half)
            column += step;
        if (i > indexOfRow(row + half, imageCols))
            row += step;
        const bool onRow = indexOfRow(row - half, imageCols) <= i && i < indexOfRow(row + half, imageCols);
        const bool onColumn = column - half <= i && i < column + half;
        if (onRow || onColumn)
            values[static_cast<std::size_t>(i)] = value;
    }
}

void AICImage::filter2D(AICImage source, AICImage* result, const float* kernel, int size) {
    const int cols = source.imageCols;
    const int rows = source.imageRows;
    result->zeros(cols, rows);
    const int half = size / 2;
    if (half >= std::int64_t{cols} - half || half >= std::int64_t{rows} - half)
        return;
    if (half < 0 || source.values.size() < static_cast<std::size_t>(std::int64_t{cols} * rows))
        throw std::out_of_range("window of the high-pass filter outside the image");
    // Each pixel adds its taps in the order of the definition; a whole row is processed for each tap.
    const std::int64_t width = std::int64_t{cols} - 2 * half;
    for (std::int64_t y = half; y < rows - half; ++y) {
        float* const out = result->values.data() + y * cols + half;
        for (std::int64_t dx = -half; dx <= half; ++dx) {
            for (std::int64_t dy = -half; dy <= half; ++dy) {
                const float tap = kernel[(dy + half) * size + dx + half];
                const float* const in = source.values.data() + (y + dy) * cols + half + dx;
                for (std::int64_t x = 0; x < width; ++x)
                    out[x] += in[x] * tap;
            }
        }
    }
}

float AICImage::median_3(int index) const {
    if (imageCols == 0)
        throw std::out_of_range("median in an image without columns");
    const std::int64_t row = std::int64_t{index} / imageCols;
    const std::int64_t col = std::int64_t{index} % imageCols;
    const auto inside = [](std::int64_t place, int count) {
        return static_cast<int>(place < 0 ? 0 : place >= count ? std::int64_t{count} - 1 : place);
    };
    std::array<float, 9> neighbours;
    auto next = neighbours.begin();
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
            *next++ = at(inside(col + dx, imageCols), inside(row + dy, imageRows));
    sortAscending(neighbours);
    return neighbours[4];
}
