#include "inspection/FrameTiles.h"

#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <type_traits>

namespace ombrel {

namespace {

constexpr zt::u32 tileSide = 32;
constexpr zt::u32 leastTileSide = 4;
constexpr zt::u32 tilesAcross = 8; // wanted in small frames

std::vector<zt::u32> edgesOf(zt::u32 length) {
    const zt::u32 side = std::clamp(length / tilesAcross, leastTileSide, tileSide);
    const zt::u32 tiles = std::max<zt::u32>(1, (length + side / 2) / side);
    std::vector<zt::u32> edges(tiles + 1);
    for (zt::u32 i = 0; i <= tiles; ++i)
        edges[i] = static_cast<zt::u32>(zt::u64{length} * i / tiles);
    return edges;
}

std::vector<zt::u32> everySecond(const std::vector<zt::u32>& edges) {
    std::vector<zt::u32> fewer;
    for (std::size_t i = 0; i + 2 < edges.size(); i += 2)
        fewer.push_back(edges[i]);
    if (fewer.size() > 1 && edges.size() % 2 == 0)
        fewer.pop_back();
    if (fewer.empty())
        fewer.push_back(edges.front());
    fewer.push_back(edges.back());
    return fewer;
}

double middle(zt::u32 begin, zt::u32 end, zt::u32 length) {
    return (static_cast<double>(begin) + end) / length - 1;
}

} // namespace

TileGrid::TileGrid(zt::u32 frameWidth, zt::u32 frameHeight)
    : xEdges(edgesOf(frameWidth)), yEdges(edgesOf(frameHeight)) {}

Region TileGrid::region(std::size_t tile) const {
    const std::size_t column = tile % columns();
    const std::size_t row = tile / columns();
    return {xEdges[column], yEdges[row], xEdges[column + 1] - xEdges[column], yEdges[row + 1] - yEdges[row]};
}

double TileGrid::x(std::size_t tile) const {
    const std::size_t column = tile % columns();
    return middle(xEdges[column], xEdges[column + 1], xEdges.back());
}

double TileGrid::y(std::size_t tile) const {
    const std::size_t row = tile / columns();
    return middle(yEdges[row], yEdges[row + 1], yEdges.back());
}

TileGrid TileGrid::coarser() const {
    TileGrid grid;
    grid.xEdges = everySecond(xEdges);
    grid.yEdges = everySecond(yEdges);
    return grid;
}

std::vector<double> TileGrid::coarserSums(const std::vector<double>& sums) const {
    const TileGrid grid = coarser();
    std::vector<double> joined(grid.count());
    for (std::size_t tile = 0; tile < sums.size(); ++tile) {
        const std::size_t column = std::min(tile % columns() / 2, grid.columns() - 1);
        const std::size_t row = std::min(tile / columns() / 2, grid.rows() - 1);
        joined[row * grid.columns() + column] += sums[tile];
    }
    return joined;
}

double saturationOf(zt::u8 pixelType, std::optional<double> saturation) {
    return withPixelType(
        pixelType,
        [&](auto pixel) {
            using T = decltype(pixel);
            const bool hasTop = std::is_integral_v<T> && sizeof(T) <= 2;
            return saturation ? *saturation
                   : hasTop   ? static_cast<double>(std::numeric_limits<T>::max())
                              : std::numeric_limits<double>::infinity();
        });
}

namespace {

// The lowest pixel value that is saturated; the greatest value of the type if no value is, with `any` false.
template <typename T>
struct Top {
    T value;
    bool any;

    explicit Top(double saturation)
        : value(std::numeric_limits<T>::max()),
          any(saturation <= static_cast<double>(std::numeric_limits<T>::max())) {
        if (any)
            value = clampedCast<T>(std::is_integral_v<T> ? std::ceil(saturation) : saturation);
    }
};

template <typename T>
struct RowCounts {
    zt::u32 zero = 0;
    zt::u32 saturated = 0;
    zt::u32 skipped = 0; // not finite, or marked
};

// Sums of 8 and 16 bit pixels of a row of a tile fit into 32 bits, which is the fastest to add.
template <typename T>
using SumOf = std::conditional_t<std::is_floating_point_v<T>, double,
                                 std::conditional_t<sizeof(T) <= 2, zt::i32, double>>;

template <typename T>
SumOf<T> addPixels(std::span<const T> pixels, T top, RowCounts<T>& counts) {
    SumOf<T> sum = 0;
    zt::u32 zero = 0, saturated = 0, skipped = 0;
    for (const T pixel : pixels) {
        const bool counted = isCounted(pixel);
        sum += counted ? static_cast<SumOf<T>>(pixel) : SumOf<T>{};
        zero += pixel == 0;
        saturated += pixel >= top;
        skipped += !counted;
    }
    counts.zero += zero;
    counts.saturated += saturated;
    counts.skipped += skipped;
    return sum;
}

template <typename T>
TileFigures figuresOfTiles(const Frame& frame, const TileGrid& grid, double saturation) {
    const std::span<const T> pixels = frame.pixels<T>();
    const Top<T> top(saturation);
    TileFigures figures;
    figures.sums.resize(grid.count());
    zt::u64 skipped = 0;
    const auto& columns = grid.columnEdges();
    for (std::size_t row = 0; row < grid.rows(); ++row)
        for (zt::u32 y = grid.rowEdges()[row]; y < grid.rowEdges()[row + 1]; ++y) {
            RowCounts<T> counts;
            const auto line = pixels.subspan(std::size_t{y} * frame.width(), frame.width());
            double* const sums = figures.sums.data() + row * grid.columns();
            for (std::size_t column = 0; column < grid.columns(); ++column)
                sums[column] += static_cast<double>(addPixels(
                    line.subspan(columns[column], columns[column + 1] - columns[column]), top.value, counts));
            figures.zero += counts.zero;
            figures.saturated += counts.saturated;
            skipped += counts.skipped;
        }
    if (!top.any)
        figures.saturated = 0;
    if (std::is_floating_point_v<T>)
        figures.notFinite = skipped;
    double total = 0;
    for (const double sum : figures.sums)
        total += sum;
    figures.level =
        skipped == pixels.size() ? notANumber : total / static_cast<double>(pixels.size() - skipped);
    return figures;
}

} // namespace

TileFigures tileFiguresOf(const Frame& frame, const TileGrid& grid, std::optional<double> saturation) {
    const double limit = saturationOf(frame.frameDataType(), saturation);
    TileFigures figures = withPixelType(frame.frameDataType(), [&](auto pixel) {
        return figuresOfTiles<decltype(pixel)>(frame, grid, limit);
    });
    figures.hash = pixelHash(frame.bytes());
    return figures;
}

} // namespace ombrel
