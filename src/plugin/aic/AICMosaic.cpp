#include "aic/AICSearch.h"

#include <limits>
#include <vector>

int c_AIC::FindOptimalCompensationMosaic(AICImage image, ImageContainer* result, int step, float* quality,
                                         std::string prefix) {
    if (refuses(image, qualityMasksFit(image), "FindOptimalCompensationMosaic"))
        return -1;
    Search search = {image, prefix, quality};
    return mosaic(search, step, result);
}

int c_AIC::mosaic(Search& search, int step, ImageContainer* result) {
    const int tile = Cfg.QfTileSize;
    if (tile == 0)
        return -1;
    const AICImage& frame = search.frame;
    if (!fitsGrid(frame))
        return fail("c_AIC::FindOptimalCompensationMosaic image size does not match calibration image size");
    if (frame.cols() < tile)
        return fail("c_AIC::FindOptimalCompensationMosaic image is narrower than a tile");
    const std::span<const Position> points = walkGrid(step);
    if (points.empty())
        return fail("c_AIC::FindOptimalCompensationLinearSearch calibration image get error");
    const bool hasTiles = tile > 0;
    const int tileCount = hasTiles ? (frame.cols() / tile) * (frame.rows() / tile) : 0;
    AICImage lowest;
    lowest.ones(tileCount, 1);
    lowest.mul(std::numeric_limits<float>::max());
    std::vector<Position> winners(static_cast<std::size_t>(tileCount), points.front());
    QualityLog qualityLog(*this);
    forEachCandidate(frame, points, [&](Position point, std::span<const float> sums) {
        double total = 0;
        if (!hasTiles) {
            writeLog("c_AIC::QualityMatrix size of windows = 0");
            sums = {};
        }
        for (std::size_t i = 0; i < sums.size(); ++i) {
            total += sums[i];
            if (sums[i] < lowest.pixels()[i]) {
                lowest.pixels()[i] = sums[i];
                winners[i] = point;
            }
        }
        note(search, point, static_cast<float>(total));
        return 0;
    });
    assembleMosaic(frame, winners, result->Image);
    *search.quality = lowest.sum();
    result->V = result->T = result->E = -1;
    qualityLog.end();
    return 0;
}

// Winners are stored by columns of tiles, but read by rows: the block at (x, y) comes from the winner of the
// tile at (y, x), if the image has as many tiles across as down.
void c_AIC::assembleMosaic(const AICImage& frame, std::span<const Position> winners, AICImage& image) const {
    image.zeros(frame.cols(), frame.rows());
    const auto tile = static_cast<std::size_t>(Cfg.QfTileSize);
    const auto cols = static_cast<std::size_t>(frame.cols());
    for (std::size_t i = 0; i < winners.size(); ++i) {
        const std::size_t tilesAcross = cols / tile;
        const std::size_t start = i / tilesAcross * tile * cols + i % tilesAcross * tile;
        work->loops.divide(&frame.pixels()[start], &winners[i]->Image.pixels()[start], &image.pixels()[start],
                           {tile, tile, cols});
    }
}
