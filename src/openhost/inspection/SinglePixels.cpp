#include "inspection/SinglePixels.h"

#include "frame/PixelType.h"
#include "inspection/FrameTiles.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

namespace ombrel {

namespace {

constexpr std::size_t mostTilesPerFrame = 16;
constexpr std::size_t pixelsPerLeftOut = 100;
// Of the limit. Without its largest pixels, noise of the same size deviates less.
constexpr double limitPart = 0.75;

// The pixels of a tile; those that do not count are 0.
std::vector<double> tilePixels(const Frame& frame, const Region& tile) {
    std::vector<double> values;
    values.reserve(std::size_t{tile.width} * tile.height);
    withPixelType(frame.frameDataType(), [&](auto type) {
        using T = decltype(type);
        const auto all = frame.pixels<T>();
        for (zt::u32 y = tile.y; y < tile.y + tile.height; ++y)
            for (const T pixel : all.subspan(std::size_t{y} * frame.width() + tile.x, tile.width))
                values.push_back(isCounted(pixel) ? static_cast<double>(pixel) : 0);
    });
    return values;
}

struct PixelDeviation {
    double residual;
    double variance;
};

double trimmedSigma(std::vector<PixelDeviation>& pixels) {
    const auto without =
        static_cast<std::ptrdiff_t>(std::max<std::size_t>(1, pixels.size() / pixelsPerLeftOut));
    std::ranges::nth_element(pixels, pixels.begin() + without, std::greater(),
                             [](const PixelDeviation& pixel) { return std::abs(pixel.residual); });
    double residual = 0, variance = 0;
    for (const PixelDeviation& pixel : std::span(pixels).subspan(static_cast<std::size_t>(without))) {
        residual += pixel.residual;
        variance += pixel.variance;
    }
    return variance > 0 ? residual / std::sqrt(variance) : 0;
}

class PixelCheck {
public:
    PixelCheck(const TileStructure& tileStructure, std::span<const std::size_t> frames,
               FieldSource& frameSource)
        : structure(tileStructure), source(frameSource) {
        for (const std::size_t frame : frames) {
            auto tiles = structure.deviating(frame);
            tiles.resize(std::min(tiles.size(), mostTilesPerFrame));
            for (const TileDeviation& each : tiles)
                sums[each.tile];
            deviations.push_back(std::move(tiles));
        }
        addReference();
    }

    std::optional<TileDeviation> confirmed(std::size_t index, std::size_t frame) {
        std::optional<TileDeviation> found;
        source.with(frame, [&](const Frame& pixels) {
            for (const TileDeviation& deviation : deviations[index])
                if (!found &&
                    std::abs(trimmed(pixels, frame, deviation.tile)) > limitPart * structure.limit())
                    found = deviation;
        });
        return found;
    }

private:
    void addReference() {
        for (std::size_t k = 0; k < structure.reference().size() && !sums.empty(); ++k)
            if (structure.reference()[k])
                source.with(
                    k,
                    [&](const Frame& frame) {
                        for (auto& [tile, sum] : sums) {
                            const auto pixels = tilePixels(frame, structure.grid().region(tile));
                            sum.resize(pixels.size());
                            std::ranges::transform(sum, pixels, sum.begin(), std::plus());
                        }
                    });
    }

    double trimmed(const Frame& frame, std::size_t index, std::size_t tile) const {
        const auto pixels = tilePixels(frame, structure.grid().region(tile));
        const double factor = structure.plane(index).at(structure.grid(), tile);
        const auto count = static_cast<double>(structure.referenceCount());
        const std::vector<double>& sum = sums.at(tile);
        std::vector<PixelDeviation> all(pixels.size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            const double expected = sum.empty() ? 0 : factor * sum[i] / count;
            all[i] = {pixels[i] - expected, std::abs(expected * (1 + factor / count))};
        }
        return trimmedSigma(all) / structure.noise();
    }

    const TileStructure& structure;
    FieldSource& source;
    std::vector<std::vector<TileDeviation>> deviations;
    std::map<std::size_t, std::vector<double>> sums; // of the reference frames' pixels, by tile
};

} // namespace

std::vector<std::optional<TileDeviation>> withoutSinglePixels(const TileStructure& structure,
                                                              std::span<const std::size_t> suspects,
                                                              FieldSource& source) {
    std::vector<std::optional<TileDeviation>> found;
    PixelCheck check(structure, suspects, source);
    for (std::size_t i = 0; i < suspects.size(); ++i)
        found.push_back(check.confirmed(i, suspects[i]));
    return found;
}

} // namespace ombrel
