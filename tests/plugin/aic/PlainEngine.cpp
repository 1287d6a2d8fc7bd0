#include "PlainEngine.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <sstream>
#include <utility>

namespace plain {
namespace {

constexpr float worst = std::numeric_limits<float>::max();

std::string textImage(const Image& image) {
    std::ostringstream text;
    for (int y = 0; y < image.rows; ++y)
        for (int x = 0; x < image.cols; ++x)
            text << image.at(x, y) << (x + 1 < image.cols ? ' ' : '\n');
    return text.str();
}

std::string dumpName(const char* kind, const GridPoint& point) {
    std::array<char, 256> name;
    std::snprintf(name.data(), name.size(), "%s_v%1.1f_t%1.1f_e%1.1f.txt", kind, static_cast<double>(point.v),
                  static_cast<double>(point.t), static_cast<double>(point.e));
    return name.data();
}

} // namespace

Image borderMask(int cols, int rows, int elementSize, int halfWidth) {
    Image mask(cols, rows, 1);
    int c = 0;
    int r = 0;
    for (int i = 0; i < cols * rows; ++i) {
        c += i > c * elementSize + halfWidth;
        r += i > (r * elementSize + halfWidth) * cols;
        const bool onRow =
            (r * elementSize - halfWidth) * cols <= i && i < (r * elementSize + halfWidth) * cols;
        const bool onColumn = c * elementSize - halfWidth <= i && i < c * elementSize + halfWidth;
        if (onRow || onColumn)
            mask.pixels[static_cast<std::size_t>(i)] = 0;
    }
    return mask;
}

Engine::Engine(Settings engineSettings, Grid calibration)
    : settings(std::move(engineSettings)), grid(std::move(calibration)) {}

Result Engine::compensate(const Image& frame) {
    Result result;
    float scaleFactor = 0;
    const Image image = preProcessed(frame, settings.preProcess, scaleFactor);
    switch (settings.search) {
    case Search::Linear:
        result.status = linear(image, 1, result);
        break;
    case Search::LookAround:
        best = grid.points.size();
        linear(image, 2, result);
        result.status = lookAround(image, result);
        break;
    case Search::Mosaic:
        result.status = mosaic(image, result);
        break;
    }
    for (float& pixel : result.best.image.pixels)
        pixel *= scaleFactor;
    return result;
}

int Engine::linear(const Image& frame, int step, Result& result) {
    result.quality = worst;
    if (!fits(frame)) {
        return fail(
            "c_AIC::FindOptimalCompensationLinearSearch image size does not match calibration image size");
    }
    int status = 0;
    int skip = 0;
    for (std::size_t i = 0; i < grid.points.size(); ++i) {
        if (grid.points[i].image.pixels.empty() || skip-- > 0)
            continue;
        skip = step - 1;
        if (!evaluate(frame, i, false, result)) {
            status = fail("c_AIC::FindOptimalCompensationLinearSearch calibration image get error");
            break;
        }
    }
    endQualityLog();
    return status;
}

int Engine::lookAround(const Image& frame, Result& result) {
    const char* const message = "c_AIC::FindOptimalCompensationLookAround calibration image get error";
    if (best == grid.points.size())
        return fail(message);
    const std::size_t centre = best;
    int status = 0;
    for (int axis = 0; axis < 3; ++axis) {
        for (const int direction : {1, -1}) {
            const int next = neighbour(centre, axis, direction);
            if (next >= 0 && !evaluate(frame, static_cast<std::size_t>(next), true, result)) {
                endQualityLog();
                return -1;
            }
            // Only the last question of the six decides.
            status = next >= 0 ? 0 : -1;
        }
    }
    if (status != 0)
        fail(message);
    endQualityLog();
    return status;
}

int Engine::mosaic(const Image& frame, Result& result) {
    if (!fits(frame))
        return fail("c_AIC::FindOptimalCompensationMosaic image size does not match calibration image size");
    const int tile = settings.quality.tile;
    const int across = frame.cols / tile;
    const int down = frame.rows / tile;
    std::vector<Image> quotients;
    std::vector<float> lowest(static_cast<std::size_t>(across * down), worst);
    std::vector<std::size_t> winner(lowest.size(), 0);
    for (std::size_t i = 0; i < grid.points.size(); ++i) {
        if (grid.points[i].image.pixels.empty())
            continue;
        quotients.push_back(candidateQuotient(frame, i));
        const std::vector<float> sums = tileSums(highPass(quotients.back(), settings.quality), tile);
        for (std::size_t k = 0; k < sums.size(); ++k) {
            if (sums[k] < lowest[k]) {
                lowest[k] = sums[k];
                winner[k] = quotients.size() - 1;
            }
        }
        noteQuality(grid.points[i], sumOf(sums), false);
        dump(grid.points[i], quotients.back());
    }
    result.best = {Image(frame.cols, frame.rows), -1, -1, -1};
    for (int y = 0; y < down * tile; ++y) {
        for (int x = 0; x < across * tile; ++x) {
            // Winners were noted column by column of tiles, and are read row by row.
            const auto tileIndex = static_cast<std::size_t>(y / tile * across + x / tile);
            result.best.image.at(x, y) = quotients[winner[tileIndex]].at(x, y);
        }
    }
    result.quality = sumOf(lowest);
    endQualityLog();
    return 0;
}

bool Engine::evaluate(const Image& frame, std::size_t candidate, bool append, Result& result) {
    const Image image = candidateQuotient(frame, candidate);
    const std::optional<float> value = quality(image, settings.quality);
    if (!value) {
        log += "c_AIC::Histogram no data passed\nc_AIC::Quantile histogram calculation error\n"
               "c_AIC::QuailityFunction preprocessing quantile\n";
        return false;
    }
    const GridPoint& point = grid.points[candidate];
    noteQuality(point, *value, append);
    dump(point, image);
    if (result.quality > *value) {
        result.quality = *value;
        result.best = {image, point.v, point.t, point.e};
        best = candidate;
    }
    return true;
}

Image Engine::candidateQuotient(const Image& frame, std::size_t candidate) {
    for (float& pixel : grid.points[candidate].image.pixels)
        pixel = pixel < std::numeric_limits<float>::min() ? 1.0f : pixel;
    return quotient(frame, grid.points[candidate].image);
}

int Engine::neighbour(std::size_t point, int axis, int direction) const {
    const std::array<int, 3> counts = {grid.vCount, grid.tCount, grid.eCount};
    const std::array<int, 3> steps = {grid.tCount * grid.eCount, grid.eCount, 1};
    const auto a = static_cast<std::size_t>(axis);
    const int start = static_cast<int>(point);
    int place = start / steps[a] % counts[a] + direction;
    for (int next = start + direction * steps[a]; place >= 0 && place < counts[a];
         place += direction, next += direction * steps[a])
        if (!grid.points[static_cast<std::size_t>(next)].image.pixels.empty())
            return next;
    return -1;
}

bool Engine::fits(const Image& frame) const {
    const Image& first = grid.points.front().image;
    return frame.cols == first.cols && frame.rows == first.rows;
}

void Engine::noteQuality(const GridPoint& point, float value, bool append) {
    if (settings.qualityLog.empty())
        return;
    std::string& text = files[settings.qualityLog];
    if (!qualityLogOpen && !append)
        text.clear();
    qualityLogOpen = true;
    std::ostringstream line;
    line << "[ " << point.v << ", " << point.t << ", " << point.e << ", " << value << " ]\n";
    text += line.str();
}

void Engine::dump(const GridPoint& point, const Image& quotientImage) {
    if (settings.dump) {
        files[dumpName("cs", point)] = textImage(quotientImage);
        files[dumpName("ff", point)] = textImage(point.image);
    }
}

void Engine::endQualityLog() {
    if (qualityLogOpen) {
        files[settings.qualityLog] += "\n";
        qualityLogOpen = false;
    }
}

int Engine::fail(const std::string& line) {
    log += line + "\n";
    return -1;
}

} // namespace plain
