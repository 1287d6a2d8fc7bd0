#include "aic/OutlierRepair.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace {

struct Offset {
    int x;
    int y;
};

// The neighbours of a pixel at the image's edge, in the order of addition. The lower right corner uses the
// pixel above it twice and omits the one to its left.
constexpr std::array<Offset, 3> upperLeft = {{{1, 0}, {0, 1}, {1, 1}}};
constexpr std::array<Offset, 3> upperRight = {{{-1, 0}, {-1, 1}, {0, 1}}};
constexpr std::array<Offset, 3> lowerLeft = {{{0, -1}, {1, -1}, {1, 0}}};
constexpr std::array<Offset, 3> lowerRight = {{{-1, -1}, {0, -1}, {0, -1}}};
constexpr std::array<Offset, 5> top = {{{1, 0}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}}};
constexpr std::array<Offset, 5> bottom = {{{0, -1}, {-1, -1}, {1, -1}, {-1, 0}, {1, 0}}};
constexpr std::array<Offset, 5> left = {{{0, 1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}}};
constexpr std::array<Offset, 5> right = {{{-1, 0}, {-1, -1}, {-1, 1}, {0, -1}, {0, 1}}};

std::span<const Offset> edgeNeighbours(const AICImage& image, int x, int y) {
    const bool atRight = x == image.cols() - 1;
    if (y == 0) {
        return x == 0    ? std::span<const Offset>(upperLeft)
               : atRight ? upperRight
                         : std::span<const Offset>(top);
    }
    if (y == image.rows() - 1) {
        return x == 0    ? std::span<const Offset>(lowerLeft)
               : atRight ? lowerRight
                         : std::span<const Offset>(bottom);
    }
    return x == 0 ? left : right;
}

bool standsOutAtEdge(const AICImage& image, int x, int y, OutlierRule rule) {
    const std::span<const Offset> neighbours = edgeNeighbours(image, x, y);
    const float* const pixel = &image.pixels()[static_cast<std::size_t>(y * image.cols() + x)];
    float sum = 0;
    for (const Offset& offset : neighbours)
        sum += pixel[offset.y * image.cols() + offset.x];
    const float mean = sum / static_cast<float>(neighbours.size());
    return *pixel > rule.ratio * mean || rule.inverse * mean > *pixel;
}

// Adds the row of a mask, and returns whether any mark is 1.
bool addMask(std::span<float> marks, std::span<const float> mask) {
    int any = 0;
    for (std::size_t x = 0; x < marks.size(); ++x) {
        marks[x] += mask[x];
        any |= marks[x] == 1.0f ? 1 : 0;
    }
    return any != 0;
}

} // namespace

void OutlierRepair::repair(const AICImage& image, float ratio, const AICImage* badPixels, AICImage& result) {
    const bool searches = ratio > 0;
    if (searches && (image.cols() < 2 || image.rows() < 2))
        throw std::out_of_range("frame of fewer than 2 rows or columns; bad pixels cannot be searched in it");
    if (image.lacksPixels())
        throw std::out_of_range("image with fewer pixels than its size");
    const OutlierRule rule = {ratio, 1.0f / ratio};
    const auto cols = static_cast<std::size_t>(image.cols());
    result.resize(image.cols(), image.rows());
    marks.assign(cols, 0.0f);
    for (int y = 0; y < image.rows(); ++y) {
        const std::size_t start = static_cast<std::size_t>(y) * cols;
        std::ranges::copy(image.pixels().subspan(start, cols), result.pixels().begin() + y * image.cols());
        bool any = searches && markRow(image, y, rule);
        if (badPixels != nullptr) {
            if (!searches)
                std::ranges::fill(marks, 0.0f);
            any = addMask(marks, badPixels->pixels().subspan(start, cols));
        }
        for (std::size_t x = 0; any && x < cols; ++x)
            if (marks[x] == 1.0f)
                result.pixels()[start + x] = image.median_3(static_cast<int>(start + x));
    }
}

bool OutlierRepair::markRow(const AICImage& image, int y, OutlierRule rule) {
    const int cols = image.cols();
    const auto markAtEdge = [&](int x) {
        const bool marked = standsOutAtEdge(image, x, y, rule);
        marks[static_cast<std::size_t>(x)] = marked ? 1.0f : 0.0f;
        return marked;
    };
    bool any = false;
    if (y == 0 || y == image.rows() - 1) {
        for (int x = 0; x < cols; ++x)
            any = markAtEdge(x) || any;
        return any;
    }
    const float* const row = &image.pixels()[static_cast<std::size_t>(y * cols)];
    any = loops.markOutliers({row - cols, row, row + cols}, rule, marks.data(), marks.size());
    any = markAtEdge(0) || any;
    return markAtEdge(cols - 1) || any;
}
