#include "inspection/TileStructure.h"

#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

namespace ombrel {

namespace {

constexpr double falseAlarms = 1e-5; // in good frames
constexpr std::size_t leastFrames = 4;
constexpr std::size_t leastTiles = 9;
constexpr double leastTileCounts = 1000; // of the median tile: below that, its noise is not close to normal
constexpr double faintMedian = 0.05;     // of the median tile; fainter ones are not judged
constexpr double noiseTolerance = 0.1;
constexpr double noiseSigmas = 4.5; // standard deviations of the measured noise
constexpr double noiseFree = 1e-3;  // computed data: its own noise is rounding

} // namespace

double sidakLimit(std::size_t tiles, double probability) {
    const double wanted = -std::expm1(std::log1p(-probability) / static_cast<double>(tiles));
    double low = 0, high = 38; // the tail of 38 sigma is the smallest that a double holds
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2;
        (std::erfc(middle / std::numbers::sqrt2) > wanted ? low : high) = middle;
    }
    return high;
}

TileStructure::TileStructure(TileGrid tileGrid, TileTable tileSums, Plan plan)
    : tiles(std::move(tileGrid)), table(std::move(tileSums)), candidates(std::move(plan.candidates)),
      kept(candidates), sigmaTable(table.size()), worstTiles(table.size()), planes(table.size()),
      givenLimit(plan.sigmaLimit) {
    problem = findObstacle(plan.photons);
    if (problem.empty())
        judge();
}

std::size_t TileStructure::referenceCount() const {
    return static_cast<std::size_t>(std::ranges::count(kept, true));
}

std::string TileStructure::findObstacle(bool photons) {
    if (referenceCount() < leastFrames)
        return "it needs " + std::to_string(leastFrames) + " frames";
    if (tiles.count() < leastTiles)
        return "the frames are too small";
    for (; tiles.count() >= leastTiles; joinTiles()) {
        std::vector<double> reference = medianOfAll().sums;
        if (const double median = medianOf(reference); median > 0 && (!photons || median >= leastTileCounts))
            return {};
    }
    return "the frames hold too few counts";
}

void TileStructure::joinTiles() {
    for (auto& sums : table)
        sums = tiles.coarserSums(sums);
    tiles = tiles.coarser();
}

// The median over the frames, of the same level, does not follow single frames that deviate.
TileStructure::Others TileStructure::medianOfAll() const {
    std::vector<double> levels(table.size());
    double level = 0;
    for (std::size_t k = 0; k < table.size(); ++k)
        if (kept[k])
            level += levels[k] = std::reduce(table[k].begin(), table[k].end());
    const auto count = static_cast<double>(referenceCount());
    level /= count;
    Others others{std::vector<double>(tiles.count()), std::numbers::pi / 2 / count};
    std::vector<double> values;
    for (std::size_t tile = 0; tile < tiles.count(); ++tile) {
        values.clear();
        for (std::size_t k = 0; k < table.size(); ++k)
            if (kept[k] && levels[k] > 0)
                values.push_back(table[k][tile] / levels[k]);
        others.sums[tile] = values.empty() ? 0 : medianOf(values) * level;
    }
    return others;
}

TileStructure::Others TileStructure::othersOf(std::size_t frame) const {
    const double count = static_cast<double>(referenceCount()) - (kept[frame] ? 1 : 0);
    Others others{total, 1 / count};
    for (std::size_t tile = 0; tile < total.size(); ++tile)
        others.sums[tile] = (total[tile] - (kept[frame] ? table[frame][tile] : 0)) / count;
    return others;
}

namespace {

using Triple = std::array<double, 3>;

// Normal equations of a plane, solved by elimination; an unknown that nothing determines becomes 0.
class PlaneSums {
public:
    void add(const Triple& terms, double value, double weight) {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j)
                matrix[i][j] += weight * terms[i] * terms[j];
            right[i] += weight * terms[i] * value;
        }
    }

    Triple solve() {
        const double smallest = 1e-9 * matrix[0][0];
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = i + 1; j < 3; ++j) {
                const double factor = matrix[i][i] > smallest ? matrix[j][i] / matrix[i][i] : 0;
                for (std::size_t k = i; k < 3; ++k)
                    matrix[j][k] -= factor * matrix[i][k];
                right[j] -= factor * right[i];
            }
        Triple solution{};
        for (std::size_t i = 3; i-- > 0;) {
            double rest = right[i];
            for (std::size_t k = i + 1; k < 3; ++k)
                rest -= matrix[i][k] * solution[k];
            solution[i] = matrix[i][i] > smallest ? rest / matrix[i][i] : 0;
        }
        return solution;
    }

private:
    std::array<Triple, 3> matrix{};
    Triple right{};
};

// Tukey's weight of a residual, given in units of its robust spread.
double biweight(double residual) {
    constexpr double cutOff = 4.685;
    const double part = residual / cutOff;
    return std::abs(part) < 1 ? (1 - part * part) * (1 - part * part) : 0;
}

} // namespace

// Least squares with Tukey's weights: an object in a few tiles does not tilt the plane.
TilePlane TileStructure::fitPlane(const std::vector<double>& sums, const Others& others) const {
    constexpr int rounds = 4;
    std::vector<double> weights(sums.size(), 1);
    std::vector<double> residuals(sums.size());
    std::vector<double> distances;
    TilePlane plane;
    for (int round = 0; round < rounds; ++round) {
        PlaneSums equations;
        for (std::size_t tile = 0; tile < sums.size(); ++tile)
            if (const double expected = others.sums[tile]; expected > 0)
                equations.add({1, tiles.x(tile), tiles.y(tile)}, sums[tile] / expected,
                              weights[tile] * expected);
        const Triple solution = equations.solve();
        plane = {solution[0], solution[1], solution[2]};
        if (round + 1 == rounds)
            break;
        distances.clear();
        for (std::size_t tile = 0; tile < sums.size(); ++tile) {
            const double expected = others.sums[tile];
            residuals[tile] =
                expected > 0 ? (sums[tile] - plane.at(tiles, tile) * expected) / std::sqrt(expected) : 0;
            if (expected > 0)
                distances.push_back(std::abs(residuals[tile]));
        }
        const double spread = madToSigma * medianOf(distances);
        if (!(spread > 0))
            break;
        for (std::size_t tile = 0; tile < sums.size(); ++tile)
            weights[tile] = biweight(residuals[tile] / spread);
    }
    return plane;
}

// In units of photon statistics; NaN for tiles that are too faint.
std::vector<double> TileStructure::sigmasOf(std::size_t frame, const Others& others) {
    const std::vector<double>& sums = table[frame];
    const TilePlane plane = planes[frame] = fitPlane(sums, others);
    std::vector<double> levels = others.sums;
    const double faint = faintMedian * medianOf(levels);
    std::vector<double> sigmas(sums.size());
    for (std::size_t tile = 0; tile < sums.size(); ++tile) {
        const double factor = plane.at(tiles, tile);
        const double expected = factor * others.sums[tile];
        const double variance = expected + factor * expected * others.variance;
        sigmas[tile] = others.sums[tile] > faint && variance > 0
                           ? (sums[tile] - expected) / std::sqrt(variance)
                           : notANumber;
    }
    return sigmas;
}

// The median of the deviations of all tiles does not follow a few tiles with structure.
void TileStructure::measureNoise(const std::vector<std::vector<double>>& sigmas, double tolerance) {
    std::vector<double> sizes;
    for (std::size_t k = 0; k < sigmas.size(); ++k)
        if (kept[k])
            for (const double sigma : sigmas[k])
                if (!std::isnan(sigma))
                    sizes.push_back(std::abs(sigma));
    const auto count = static_cast<double>(tiles.count());
    // The plane takes three degrees of freedom from the tiles.
    const double noise = sizes.empty() ? 1 : madToSigma * medianOf(sizes) * std::sqrt(count / (count - 3));
    const bool isPhotons = noise > 1 / (1 + tolerance) && noise < 1 + tolerance;
    usedNoise = isPhotons || noise < noiseFree ? 1 : noise;
}

std::vector<bool> TileStructure::compare(bool withMedian) {
    total.assign(tiles.count(), 0);
    for (std::size_t k = 0; k < table.size(); ++k)
        if (kept[k])
            std::ranges::transform(total, table[k], total.begin(), std::plus());
    const Others median = withMedian ? medianOfAll() : Others();
    for (std::size_t k = 0; k < table.size(); ++k)
        if (candidates[k])
            sigmaTable[k] = sigmasOf(k, withMedian ? median : othersOf(k));
    const auto samples = static_cast<double>(referenceCount() * tiles.count());
    const double tolerance = std::max(noiseTolerance, noiseSigmas * 1.17 / std::sqrt(samples));
    measureNoise(sigmaTable, tolerance);
    sigmaLimit = givenLimit.value_or((1 + tolerance) * sidakLimit(tiles.count(), falseAlarms));

    std::vector<bool> below(table.size());
    for (std::size_t k = 0; k < table.size(); ++k) {
        worstTiles[k] = {};
        for (std::size_t tile = 0; tile < sigmaTable[k].size(); ++tile)
            if (const double sigma = sigmaTable[k][tile] / usedNoise;
                std::abs(sigma) > std::abs(worstTiles[k].sigma))
                worstTiles[k] = {tile, sigma};
        below[k] = candidates[k] && std::abs(worstTiles[k].sigma) <= sigmaLimit;
    }
    return below;
}

void TileStructure::judge() {
    constexpr int mostRounds = 12;
    std::vector<bool> below = compare(true);
    for (int round = 0; round < mostRounds; ++round) {
        kept = below;
        if (referenceCount() < leastFrames - 1)
            return;
        below = compare(false);
        if (below == kept)
            return;
    }
    kept = below;
}

std::vector<TileDeviation> TileStructure::deviating(std::size_t frame) const {
    std::vector<TileDeviation> found;
    for (std::size_t tile = 0; tile < sigmaTable[frame].size(); ++tile)
        if (const double sigma = sigmaTable[frame][tile] / usedNoise; std::abs(sigma) > sigmaLimit)
            found.push_back({tile, sigma});
    std::ranges::sort(found, std::greater(), [](const TileDeviation& one) { return std::abs(one.sigma); });
    return found;
}

} // namespace ombrel
