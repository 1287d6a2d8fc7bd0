#include "tiles/TileOrder.h"

#include <algorithm>

namespace {

using Four = float __attribute__((vector_size(16)));

Four load(const float* from) {
    Four values;
    __builtin_memcpy(&values, from, sizeof values);
    return values;
}

void store(float* to, Four values) {
    __builtin_memcpy(to, &values, sizeof values);
}

// Transposes four pixels of each of four tiles into one vector per pixel.
void transpose(const float* pixels, std::size_t tile, float* ordered, std::size_t groupTiles) {
    const Four a = load(pixels);
    const Four b = load(pixels + tile);
    const Four c = load(pixels + 2 * tile);
    const Four d = load(pixels + 3 * tile);
    const Four ab01 = __builtin_shufflevector(a, b, 0, 4, 1, 5);
    const Four ab23 = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Four cd01 = __builtin_shufflevector(c, d, 0, 4, 1, 5);
    const Four cd23 = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    store(ordered, __builtin_shufflevector(ab01, cd01, 0, 1, 4, 5));
    store(ordered + groupTiles, __builtin_shufflevector(ab01, cd01, 2, 3, 6, 7));
    store(ordered + 2 * groupTiles, __builtin_shufflevector(ab23, cd23, 0, 1, 4, 5));
    store(ordered + 3 * groupTiles, __builtin_shufflevector(ab23, cd23, 2, 3, 6, 7));
}

} // namespace

TileOrder::TileOrder(int imageCols, int imageRows, int tileSide)
    : cols(imageCols), rows(imageRows), tile(tileSide), tilesAcross(imageCols / tileSide),
      tilesDown(imageRows / tileSide), tilesUsed(tilesAcross + (imageCols % tileSide != 0 ? 1 : 0)),
      groupTiles(tilesUsed <= 4   ? 4
                 : tilesUsed <= 8 ? 8
                                  : 16) {}

std::size_t TileOrder::rowSize() const {
    const auto group = static_cast<std::size_t>(groupTiles);
    const std::size_t groups = (static_cast<std::size_t>(tilesUsed) + group - 1) / group;
    return groups * group * static_cast<std::size_t>(tile);
}

std::size_t TileOrder::place(int x) const {
    const int tileIndex = x / tile;
    const auto group = static_cast<std::size_t>(tileIndex / groupTiles);
    const auto row = group * static_cast<std::size_t>(tile) + static_cast<std::size_t>(x % tile);
    return row * static_cast<std::size_t>(groupTiles) + static_cast<std::size_t>(tileIndex % groupTiles);
}

void TileOrder::arrangeRow(const float* pixels, float* ordered) const {
    const auto side = static_cast<std::size_t>(tile);
    // Squares of four pixels by four tiles first, then the remainder.
    const int squareTiles = tilesAcross / 4 * 4;
    const int squarePixels = tile / 4 * 4;
    for (int t = 0; t < squareTiles; t += 4) {
        const float* const from = pixels + static_cast<std::size_t>(t) * side;
        float* const to = ordered + place(t * tile);
        for (int x = 0; x < squarePixels; x += 4)
            transpose(from + x, side, to + x * groupTiles, static_cast<std::size_t>(groupTiles));
        for (int x = squarePixels; x < tile; ++x) {
            for (int i = 0; i < 4; ++i) {
                to[x * groupTiles + i] =
                    from[static_cast<std::size_t>(i) * side + static_cast<std::size_t>(x)];
            }
        }
    }
    for (int first = squareTiles * tile; first < cols; first += tile) {
        float* to = ordered + place(first);
        for (int x = first; x < std::min(first + tile, cols); ++x, to += groupTiles)
            *to = pixels[x];
    }
}
