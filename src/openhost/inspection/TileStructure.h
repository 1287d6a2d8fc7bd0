#pragma once

#include "inspection/FrameTiles.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// One row for each frame: the sums of its tiles.
using TileTable = std::vector<std::vector<double>>;

// A tile of a frame compared with the same tile of other frames.
struct TileDeviation {
    std::size_t tile = 0;
    double sigma = 0; // signed, in standard deviations of the noise
};

// The brightness of a frame relative to others: constant + alongX * x + alongY * y, see TileGrid::x().
struct TilePlane {
    double constant = 1;
    double alongX = 0;
    double alongY = 0;

    double at(const TileGrid& grid, std::size_t tile) const {
        return constant + alongX * grid.x(tile) + alongY * grid.y(tile);
    }
};

// Compares each frame of a set with the mean of the others, tile by tile, after level and plane are taken
// out. Frames with a tile that deviates by more than the limit are taken out of the others' means. Noise is
// that of photon statistics; if the set shows another one, it is measured from the set.
class TileStructure {
public:
    // Frames that are not candidates are ignored. `sigmaLimit` replaces the limit that gives a false alarm in
    // at most one of 100,000 good frames. `photons`: pixels are counts, and tiles must hold enough of them.
    struct Plan {
        std::vector<bool> candidates;
        std::optional<double> sigmaLimit;
        bool photons = true;
    };
    TileStructure(TileGrid tileGrid, TileTable tileSums, Plan plan);

    // Why nothing can be judged; empty if it can.
    const std::string& obstacle() const { return problem; }

    const TileGrid& grid() const { return tiles; } // with larger tiles if few photons were counted
    const TileTable& sums() const { return table; }
    // Frames that the others are compared with.
    const std::vector<bool>& reference() const { return kept; }
    std::size_t referenceCount() const;

    bool deviates(std::size_t frame) const { return !kept[frame]; }
    // The tile that deviates most.
    TileDeviation worst(std::size_t frame) const { return worstTiles[frame]; }
    // The tiles above the limit, the strongest first.
    std::vector<TileDeviation> deviating(std::size_t frame) const;
    const TilePlane& plane(std::size_t frame) const { return planes[frame]; }

    double limit() const { return sigmaLimit; }
    // The standard deviation of the noise, relative to photon statistics, that sigmas refer to.
    double noise() const { return usedNoise; }
    bool hasOwnNoise() const { return usedNoise != 1; }

private:
    // A mean image, and the variance of its tiles per count.
    struct Others {
        std::vector<double> sums;
        double variance = 0;
    };

    std::string findObstacle(bool photons);
    void joinTiles();
    Others medianOfAll() const;
    Others othersOf(std::size_t frame) const;
    TilePlane fitPlane(const std::vector<double>& sums, const Others& others) const;
    std::vector<double> sigmasOf(std::size_t frame, const Others& others);
    void measureNoise(const std::vector<std::vector<double>>& sigmas, double tolerance);
    // The candidates that stay below the limit.
    std::vector<bool> compare(bool withMedian);
    void judge();

    TileGrid tiles;
    TileTable table;
    std::vector<bool> candidates;
    std::vector<bool> kept;
    std::vector<std::vector<double>> sigmaTable;
    std::vector<TileDeviation> worstTiles;
    std::vector<TilePlane> planes;
    std::vector<double> total; // of the tiles of the kept frames
    std::optional<double> givenLimit;
    std::string problem;
    double sigmaLimit = 0;
    double usedNoise = 1;
};

// The sigma that the worst of `tiles` normal deviates exceeds, on either side, with that probability.
double sidakLimit(std::size_t tiles, double probability);

} // namespace ombrel
