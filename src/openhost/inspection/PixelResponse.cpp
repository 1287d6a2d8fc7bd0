#include "inspection/PixelResponse.h"

#include "base/Numbers.h"
#include "frame/PixelFaults.h"

#include <algorithm>
#include <cmath>

namespace ombrel {

namespace {

constexpr std::size_t leastBlock = 16; // pixels of a gap that is not a whole row or column
constexpr std::size_t reach = 3;       // of the neighbourhood, to each side
constexpr std::size_t lineBlock = 64;  // pixels of a row or column that share a factor

struct Box {
    std::size_t left, top, right, bottom; // the last column and row are included

    void include(std::size_t x, std::size_t y) {
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
    }
    std::size_t area() const { return (right - left + 1) * (bottom - top + 1); }
};

class Gaps {
public:
    Gaps(const std::vector<bool>& countsNothing, zt::u32 width, std::span<zt::u32> pixelFaults)
        : silent(countsNothing), columns(width), rows(countsNothing.size() / width), faults(pixelFaults),
          seen(countsNothing.size()) {}

    void mark() {
        for (std::size_t pixel = 0; pixel < silent.size(); ++pixel)
            if (silent[pixel])
                faults[pixel] = fault::dead;
        for (std::size_t y = 0; y < rows; ++y)
            markLine(y * columns, 1, columns);
        for (std::size_t x = 0; x < columns; ++x)
            markLine(x, columns, rows);
        for (std::size_t pixel = 0; pixel < silent.size(); ++pixel)
            if (isOpen(pixel))
                markBlock(pixel);
    }

private:
    void markLine(std::size_t first, std::size_t step, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            if (!silent[first + i * step])
                return;
        for (std::size_t i = 0; i < count; ++i)
            faults[first + i * step] = fault::gap;
    }

    bool isOpen(std::size_t pixel) const {
        return faults[pixel] == fault::dead && silent[pixel] && !seen[pixel];
    }

    // All dead pixels that touch each other by a side.
    void markBlock(std::size_t first) {
        std::vector<std::size_t> block{first};
        seen[first] = true;
        Box box{first % columns, first / columns, first % columns, first / columns};
        const auto add = [&](bool inside, std::size_t pixel) {
            if (!inside || !isOpen(pixel))
                return;
            seen[pixel] = true;
            block.push_back(pixel);
        };
        for (std::size_t i = 0; i < block.size(); ++i) {
            const std::size_t pixel = block[i];
            const std::size_t x = pixel % columns;
            const std::size_t y = pixel / columns;
            box.include(x, y);
            add(x > 0, pixel - 1);
            add(x + 1 < columns, pixel + 1);
            add(y > 0, pixel - columns);
            add(y + 1 < rows, pixel + columns);
        }
        if (block.size() >= leastBlock && block.size() == box.area())
            for (const std::size_t pixel : block)
                faults[pixel] = fault::gap;
    }

    const std::vector<bool>& silent;
    std::size_t columns;
    std::size_t rows;
    std::span<zt::u32> faults;
    std::vector<bool> seen;
};

// The level of each good pixel over that of its neighbourhood; NaN for the others.
std::vector<double> ratiosToNeighbours(std::span<const double> level, std::size_t columns,
                                       std::span<const zt::u32> faults) {
    const std::size_t rows = level.size() / columns;
    std::vector<double> ratios(level.size(), notANumber);
    std::vector<double> window;
    for (std::size_t pixel = 0; pixel < level.size(); ++pixel) {
        if (faults[pixel] != 0)
            continue;
        const std::size_t x = pixel % columns;
        const std::size_t y = pixel / columns;
        window.clear();
        for (std::size_t v = y - std::min(y, reach); v <= std::min(y + reach, rows - 1); ++v)
            for (std::size_t u = x - std::min(x, reach); u <= std::min(x + reach, columns - 1); ++u)
                if (faults[v * columns + u] == 0)
                    window.push_back(level[v * columns + u]);
        const double median = medianOf(window);
        ratios[pixel] = median > 0 ? level[pixel] / median : notANumber;
    }
    return ratios;
}

// Divides each piece of a line by its median.
void levelLine(std::vector<double>& ratios, std::size_t first, std::size_t step, std::size_t count) {
    const std::size_t pieces = std::max<std::size_t>(1, count / lineBlock);
    std::vector<double> values;
    for (std::size_t piece = 0; piece < pieces; ++piece) {
        const std::size_t begin = count * piece / pieces;
        const std::size_t end = count * (piece + 1) / pieces;
        values.clear();
        for (std::size_t i = begin; i < end; ++i)
            if (const double ratio = ratios[first + i * step]; std::isfinite(ratio))
                values.push_back(ratio);
        const double median = medianOf(values);
        for (std::size_t i = begin; i < end && median > 0; ++i)
            ratios[first + i * step] /= median;
    }
}

struct Spread {
    double median;
    double deviation;
};

Spread robustSpread(std::span<const double> values) {
    std::vector<double> finite;
    std::ranges::copy_if(values, std::back_inserter(finite),
                         [](double value) { return std::isfinite(value); });
    const double median = medianOf(finite);
    for (double& value : finite)
        value = std::abs(value - median);
    return {median, madToSigma * medianOf(finite)};
}

} // namespace

void markGaps(const std::vector<bool>& countsNothing, zt::u32 width, std::span<zt::u32> faults) {
    Gaps(countsNothing, width, faults).mark();
}

void markResponse(std::span<const double> level, std::span<const double> variance, zt::u32 width,
                  double limit, std::span<zt::u32> faults) {
    std::vector<double> ratios = ratiosToNeighbours(level, width, faults);
    const std::size_t rows = level.size() / width;
    for (std::size_t x = 0; x < width; ++x)
        levelLine(ratios, x, width, rows);
    for (std::size_t y = 0; y < rows; ++y)
        levelLine(ratios, y * width, 1, width);
    const Spread spread = robustSpread(ratios);
    for (std::size_t pixel = 0; pixel < ratios.size(); ++pixel) {
        if (!std::isfinite(ratios[pixel]))
            continue;
        const double deviation = ratios[pixel] - spread.median;
        if (std::abs(deviation) > limit * std::hypot(spread.deviation, std::sqrt(variance[pixel])))
            faults[pixel] |= deviation > 0 ? fault::over : fault::under;
    }
}

void markHot(std::span<const double> level, zt::u64 darks, double limit, std::span<zt::u32> faults) {
    const Spread spread = robustSpread(level);
    const double least = std::sqrt((std::abs(spread.median) + 1) / static_cast<double>(darks));
    for (std::size_t pixel = 0; pixel < level.size(); ++pixel)
        if (level[pixel] - spread.median > limit * std::max(spread.deviation, least))
            faults[pixel] |= fault::over;
}

} // namespace ombrel
