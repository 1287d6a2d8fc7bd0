#include "aic/AICSearch.h"

#include "tiles/Kernels.h"

#include <array>
#include <chrono>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <utility>

using ResultType = c_CalibrationImages::ResultType;

int c_AIC::CompensateImage(AICImage frame, ImageContainer* result, float* quality, std::string prefix,
                           bool reportTime) {
    work->record.clear();
    if (frame.empty())
        return fail("c_AIC::CompensateImage no image passed");
    if (refuses(frame, work->ready && frameMasksFit(frame), "CompensateImage"))
        return -1;
    if (const int status = PreProcess(std::move(frame), &work->image, nullptr); status != 0) {
        writeLog("c_AIC::CompensateImage FindOptimalCompensation error");
        return status;
    }
    const auto start = std::chrono::steady_clock::now();
    Search search = {work->image, prefix, quality};
    int status = 0;
    if (SearchMode == 2) {
        status = mosaic(search, 1, result);
    } else if (SearchMode == 1) {
        linearSearch(search, 2);
        status = search.best ? lookAround(search, *search.best)
                             : fail("c_AIC::FindOptimalCompensationLookAround calibration image get error");
    } else {
        status = linearSearch(search, 1);
    }
    work->record.complete = status == 0;
    storeBest(search, result);
    work->loops.scale(result->Image.pixels().data(), ScaleFactor, result->Image.pixels().size());
    if (reportTime) {
        const auto time =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
        std::cout << "CompensateImage: FindOptimalCompensation:  " << std::to_string(time.count()) << ' ';
    }
    return status;
}

const SearchRecord* c_AIC::lastSearch() const {
    return work->record.complete ? &work->record : nullptr;
}

float c_AIC::scoreOf(std::size_t candidate) {
    ScoredCandidate& asked = work->record.candidates.at(candidate);
    if (!asked.score) { // left out by a pruned search, which needs bands
        work->bands->setFrame(work->image.pixels());
        asked.score = wholeScore(work->image, asked.point);
    }
    return *asked.score;
}

int c_AIC::FindOptimalCompensationLinearSearch(AICImage image, ImageContainer* result, int step,
                                               float* quality, Position& best, std::string prefix) {
    if (refuses(image, qualityMasksFit(image), "FindOptimalCompensationLinearSearch"))
        return -1;
    Search search = {image, prefix, quality};
    const int status = linearSearch(search, step);
    storeBest(search, result);
    best = search.best.value_or(best);
    return status;
}

int c_AIC::FindOptimalCompensationLookAround(AICImage image, Position centre, ImageContainer* result,
                                             float* quality, std::string prefix) {
    if (refuses(image, qualityMasksFit(image), "FindOptimalCompensationLookAround"))
        return -1;
    Search search = {image, prefix, quality};
    const int status = lookAround(search, centre);
    storeBest(search, result);
    return status;
}

int c_AIC::linearSearch(Search& search, int step) {
    *search.quality = std::numeric_limits<float>::max();
    if (!fitsGrid(search.frame)) {
        return fail(
            "c_AIC::FindOptimalCompensationLinearSearch image size does not match calibration image size");
    }
    QualityLog qualityLog(*this);
    const std::span<const Position> points = walkGrid(step);
    int status = evaluatePruned(search, points, step) ? 0 : evaluate(search, points);
    if (status != 0 || points.empty())
        status = fail("c_AIC::FindOptimalCompensationLinearSearch calibration image get error");
    qualityLog.end();
    return status;
}

int c_AIC::lookAround(Search& search, Position centre) {
    const char* const failure = "c_AIC::FindOptimalCompensationLookAround calibration image get error";
    c_CalibrationImages& store = *CalibrationImages;
    // A linear search without a winner leaves its caller a position outside the grid, or none.
    const ImageContainer* const first = store.Images.data();
    const ImageContainer* const point = std::to_address(centre);
    const bool inGrid = !std::less<>{}(point, first) && std::less<>{}(point, first + store.Images.size());
    if (!fitsGrid(search.frame) || !inGrid)
        return fail(failure);
    std::vector<Position>& neighbours = work->points;
    neighbours.clear();
    auto last = ResultType::ResultNotFound;
    for (const auto axis : {store.ParamV, store.ParamT, store.ParamE}) {
        Position found;
        store.GetNextImage(centre, found, axis, &last, true);
        if (last == ResultType::ResultOk)
            neighbours.push_back(found);
        store.GetPreviousImage(centre, found, axis, &last, true);
        if (last == ResultType::ResultOk)
            neighbours.push_back(found);
    }
    search.appendsQualityValues = true;
    QualityLog qualityLog(*this);
    int status = evaluate(search, neighbours);
    // A centre that is first on its line of E fails the search, whatever its other neighbours yielded.
    if (status == 0 && last != ResultType::ResultOk)
        status = fail(failure);
    qualityLog.end();
    return status;
}

std::span<const c_AIC::Position> c_AIC::walkGrid(int step) {
    c_CalibrationImages& store = *CalibrationImages;
    std::vector<Position>& points = work->points;
    points.clear();
    Position point;
    auto result = ResultType::ResultNotFound;
    store.GetFirstImage(point, &result);
    while (result == ResultType::ResultOk && store.hasImage(*point)) {
        points.push_back(point);
        store.GetNextImage(point, &result, false);
        for (int i = 1; i < step; ++i)
            store.GetNextImage(point, &result, false);
    }
    return points;
}

int c_AIC::evaluate(Search& search, std::span<const Position> points) {
    return forEachCandidate(
        search.frame, points,
        [&](Position point, std::span<const float> sums) {
            float value = 0;
            if (Cfg.QfTileSize < 1)
                value = sums.front();
            else if (const int status = scoreTiles(sums, &value); status != 0)
                return status;
            note(search, point, value);
            if (*search.quality > value) {
                *search.quality = value;
                search.best = point;
            }
            return 0;
        });
}

bool c_AIC::evaluatePruned(Search& search, std::span<const Position> points, int step) {
    prepareKernel();
    const bool isFast = work->bands && Cfg.QfTileSize < 1;
    if (!isFast || points.empty() || QualityValuesEnabled || Cfg.DumpCompensationImages)
        return false;
    const std::size_t pixels = search.frame.pixels().size();
    if (!work->pruned || work->prunedStep != step) {
        std::vector<CandidateImage> images;
        for (const Position point : points) {
            repairImage(point);
            images.push_back({point->Image.pixels().data(), {point->V, point->T, point->E}});
        }
        work->pruned.emplace(std::move(images), pixels, work->loops);
        work->prunedStep = step;
    }
    work->bands->setFrame(search.frame.pixels());
    if (!work->bands->staysFinite(work->pruned->darkest()))
        return false;
    const auto scores = work->pruned->run(*work->bands, [&](std::size_t candidate) {
        return highPassMagnitude(quotient(search.frame, points[candidate])).sum();
    });
    for (std::size_t i = 0; i < points.size(); ++i) {
        work->record.candidates.push_back({points[i], scores[i]});
        if (scores[i] && *search.quality > *scores[i]) {
            *search.quality = *scores[i];
            search.best = points[i];
        }
    }
    return true;
}

void c_AIC::sumByKernel(std::span<const Position> points) {
    std::array<OrderedImage, TilePass::maxCandidates> images;
    std::array<float*, TilePass::maxCandidates> sums;
    for (std::size_t i = 0; i < points.size(); ++i) {
        images[i] =
            work->grid.image(static_cast<std::size_t>(points[i] - CalibrationImages->Images.begin()), i);
        work->sums[i].resize(work->gridSums->order().tileCount());
        sums[i] = work->sums[i].data();
    }
    work->gridSums->sum(std::span(images).first(points.size()), std::span(sums).first(points.size()));
}

void c_AIC::sumByImages(const AICImage& frame, Position point) {
    if (Cfg.QfTileSize < 1)
        work->sums[0].assign(1, wholeScore(frame, point));
    else
        tileSums(quotient(frame, point));
}

float c_AIC::wholeScore(const AICImage& frame, Position point) {
    const std::span<const float> pixels = std::as_const(point->Image).pixels();
    if (work->bands && work->bands->staysFinite(darkestPixel(pixels.data(), pixels.size(), work->loops))) {
        double sum = 0;
        for (std::size_t band = 0; band < work->bands->bandCount(); ++band)
            sum += work->bands->sum(pixels.data(), band);
        if (const auto score = work->bands->score(sum))
            return *score;
    }
    return highPassMagnitude(quotient(frame, point)).sum();
}

// Modifies the store permanently, but only when the image becomes a candidate: until then the store has the
// file's values.
void c_AIC::repairImage(Position point) {
    const auto index = static_cast<std::size_t>(point - CalibrationImages->Images.begin());
    if (!work->repaired[index]) {
        point->Image.threshold_min(smallestDivisor, 1.0f);
        work->repaired[index] = true;
    }
}

AICImage c_AIC::quotient(const AICImage& frame, Position point) const {
    AICImage image = AICImage::uninitialized(frame.cols(), frame.rows());
    const std::size_t count = image.pixels().size();
    work->loops.divide(frame.pixels().data(), point->Image.pixels().data(), image.pixels().data(),
                       {count, 1, count});
    return image;
}

void c_AIC::storeBest(const Search& search, ImageContainer* result) const {
    if (search.best) {
        result->Image = quotient(search.frame, *search.best);
        result->V = (*search.best)->V;
        result->T = (*search.best)->T;
        result->E = (*search.best)->E;
    }
}
