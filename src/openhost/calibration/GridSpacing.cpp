#include "calibration/GridSpacing.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

namespace ombrel {

namespace {

constexpr std::size_t sampleCount = 1000; // settings
constexpr std::size_t fewSamples = 250;
constexpr std::size_t lineCount = 32; // lines along an axis, to measure its length
constexpr std::size_t lengthSteps = 64;
constexpr double clearlyLower = 1e-7; // of the residual, for each candidate; less is rounding

// Coefficients of the polynomial at the sampled pixels, without their means: a common factor of all pixels
// leaves no structure.
std::vector<double> structureOf(std::size_t terms, const GridFit& fit, const SampledLogs& logs) {
    std::vector<double> coefficients(terms * logs.pixels);
    for (std::size_t term = 0; term < terms; ++term) {
        const auto row = std::span(coefficients).subspan(term * logs.pixels, logs.pixels);
        double sum = 0;
        for (std::size_t point = 0; point < logs.noise.size(); ++point)
            for (std::size_t i = 0; i < logs.pixels; ++i)
                row[i] += fit.weight(term, point) * logs.row(point)[i];
        for (const double value : row)
            sum += value;
        for (double& value : row)
            value -= sum / static_cast<double>(logs.pixels);
    }
    return coefficients;
}

// The columns of Cholesky's factor, the greatest pivot first, until the rest is far below the noise of a
// frame. Where photon noise leaves a direction without structure, it has none.
std::vector<std::vector<double>> columnsOf(std::vector<double> matrix, std::size_t size) {
    constexpr double leastPivot = 1e-4;
    std::vector<std::vector<double>> columns;
    while (columns.size() < size) {
        std::size_t pivot = 0;
        for (std::size_t i = 1; i < size; ++i)
            pivot = matrix[i * size + i] > matrix[pivot * size + pivot] ? i : pivot;
        const double greatest = matrix[pivot * size + pivot];
        if (!(greatest > leastPivot))
            break;
        std::vector<double> column(size);
        for (std::size_t i = 0; i < size; ++i)
            column[i] = matrix[i * size + pivot] / std::sqrt(greatest);
        for (std::size_t i = 0; i < size; ++i)
            for (std::size_t j = 0; j < size; ++j)
                matrix[i * size + j] -= column[i] * column[j];
        columns.push_back(std::move(column));
    }
    return columns;
}

double squaredDistance(std::span<const double> one, std::span<const double> other) {
    double sum = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        sum += (one[i] - other[i]) * (one[i] - other[i]);
    return sum;
}

// The digits of the index, mirrored at the point: spread evenly over 0 to 1 (van der Corput).
double spread(std::size_t index, std::size_t base) {
    double value = 0;
    double digit = 1;
    for (; index > 0; index /= base) {
        digit /= static_cast<double>(base);
        value += digit * static_cast<double>(index % base);
    }
    return value;
}

// In ascending order.
std::vector<GridPoint> combinations(const std::array<std::vector<float>, 3>& values) {
    std::vector<GridPoint> points;
    for (const float v : values[0])
        for (const float t : values[1])
            for (const float e : values[2])
                points.push_back({v, t, e});
    return points;
}

std::size_t countOf(const GridSpacing::Cells& cells) {
    return cells[0] * cells[1] * cells[2];
}

constexpr std::array<float GridPoint::*, 3> axisOf{&GridPoint::v, &GridPoint::t, &GridPoint::e};

} // namespace

GridMetric::GridMetric(const GridPolynomial& polynomial, const GridFit& fit, const SampledLogs& logs,
                       double frameVariance)
    : terms(polynomial) {
    const std::size_t size = polynomial.size();
    const auto structure = structureOf(size, fit, logs);
    double noise = 0;
    for (const double variance : logs.noise)
        noise += variance / static_cast<double>(logs.noise.size());
    std::vector<double> matrix(size * size);
    for (std::size_t i = 0; i < size; ++i)
        for (std::size_t j = 0; j < size; ++j) {
            double sum = 0;
            for (std::size_t pixel = 0; pixel < logs.pixels; ++pixel)
                sum += structure[i * logs.pixels + pixel] * structure[j * logs.pixels + pixel];
            matrix[i * size + j] =
                (sum / static_cast<double>(logs.pixels) - fit.covariance(i, j) * noise) / frameVariance;
        }
    factor = columnsOf(std::move(matrix), size);
}

std::vector<double> GridMetric::placeOf(const GridPoint& point) const {
    const auto at = terms.at(point);
    std::vector<double> place;
    for (const auto& column : factor)
        place.push_back(std::inner_product(at.begin(), at.end(), column.begin(), 0.0));
    return place;
}

GridSpacing::GridSpacing(const GridMetric& metric, const CalibrationGrid& grid,
                         std::span<const GridPoint> measured, double surfaceError)
    : places(metric), known(measured.begin(), measured.end()), error(surfaceError) {
    axes[0].measured = grid.v();
    axes[1].measured = grid.t();
    axes[2].measured = grid.e();
    for (std::size_t i = 1; i <= sampleCount; ++i) {
        GridPoint sample;
        for (std::size_t axis = 0; const std::size_t base : {2, 3, 5}) {
            const auto& values = axes[axis].measured;
            sample.*axisOf[axis++] =
                static_cast<float>(values.front() + spread(i, base) * (values.back() - values.front()));
        }
        samples.push_back(sample);
    }
    for (std::size_t axis = 0; axis < axes.size(); ++axis)
        axes[axis].lengths = lengthsAlong(axis);
}

std::vector<double> GridSpacing::lengthsAlong(std::size_t axis) const {
    const double first = axes[axis].measured.front(), last = axes[axis].measured.back();
    std::vector<double> lengths(lengthSteps + 1);
    for (std::size_t line = 0; line < lineCount; ++line) {
        GridPoint point = samples[line];
        std::vector<double> before;
        for (std::size_t step = 0; step <= lengthSteps; ++step) {
            point.*axisOf[axis] =
                static_cast<float>(first + (last - first) * static_cast<double>(step) / double{lengthSteps});
            auto place = places.placeOf(point);
            if (step > 0)
                lengths[step] += std::sqrt(squaredDistance(before, place)) / double{lineCount};
            before = std::move(place);
        }
    }
    for (std::size_t step = 1; step <= lengthSteps; ++step)
        lengths[step] += lengths[step - 1];
    return lengths;
}

float GridSpacing::valueAt(const Axis& axis, double part) const {
    const double first = axis.measured.front(), last = axis.measured.back();
    const double length = part * axis.lengths.back();
    const auto end = std::ranges::lower_bound(axis.lengths, length);
    const auto step = std::clamp<std::ptrdiff_t>(end - axis.lengths.begin(), 1, lengthSteps);
    const double low = axis.lengths[static_cast<std::size_t>(step - 1)];
    const double high = axis.lengths[static_cast<std::size_t>(step)];
    const double within = high > low ? (length - low) / (high - low) : 0.5;
    return static_cast<float>(first + (last - first) * (static_cast<double>(step - 1) + within) /
                                          double{lengthSteps});
}

RefinedGrid GridSpacing::divided(const Cells& cells) const {
    RefinedGrid grid;
    std::array<std::vector<float>, 3> middles;
    for (std::size_t axis = 0; axis < axes.size(); ++axis) {
        const std::size_t count = axes[axis].measured.size() == 1 ? 1 : cells[axis];
        grid.values[axis] = count;
        for (std::size_t cell = 0; cell < count; ++cell)
            middles[axis].push_back(
                valueAt(axes[axis], (static_cast<double>(cell) + 0.5) / static_cast<double>(count)));
    }
    grid.written = known;
    for (const GridPoint& point : combinations(middles))
        if (std::ranges::find(known, point) == known.end())
            grid.written.push_back(point);
    std::ranges::sort(grid.written);
    grid.candidates = grid.written;
    grid.tried = grid.written.size();
    return grid;
}

std::optional<RefinedGrid> GridSpacing::forLookAround() const {
    // As parts of the axis. With the midpoints that is every 1/8 of V and T. E goes from 0 to 1 in steps of
    // 1/7 from its second value on.
    constexpr std::array within{0.0, 0.25, 0.5, 0.75, 1.0};
    constexpr std::array fromBefore{-1.0 / 7, 1.0 / 7, 3.0 / 7, 5.0 / 7, 1.0};
    RefinedGrid grid;
    grid.isForLookAround = true;
    grid.values = {9, 9, 9};
    grid.tried = 9 * 9 * 9 / 2 + 1 + 6;
    std::array<std::vector<float>, 3> stored;
    std::array<std::vector<float>, 3> all;
    for (std::size_t axis = 0; axis < axes.size(); ++axis) {
        for (const double part : axis == 2 ? fromBefore : within)
            stored[axis].push_back(valueAt(axes[axis], part));
        const auto& values = stored[axis];
        if (std::ranges::adjacent_find(values, std::greater_equal()) != values.end())
            return std::nullopt;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (i > 0)
                all[axis].push_back((values[i - 1] + values[i]) / 2);
            all[axis].push_back(values[i]);
        }
    }
    grid.written = combinations(stored);
    grid.candidates = combinations(all);
    return grid;
}

double GridSpacing::spacingResidual(const Cells& cells, std::size_t settings) const {
    return expected(divided(cells).candidates, std::span(samples).first(settings), 0).mean;
}

// The cells that lower the residual most for each candidate that they add. One cell more may not help where
// two do, since all places on the axis shift. Where nothing helps, the longest cells are divided.
GridSpacing::Cells GridSpacing::nextCells(const Cells& cells) const {
    const double before = spacingResidual(cells, fewSamples);
    const auto step = [&](std::size_t axis) {
        return axes[axis].lengths.back() / static_cast<double>(cells[axis]);
    };
    Cells next = cells;
    double best = clearlyLower;
    std::size_t widest = 0;
    for (std::size_t axis = 0; axis < axes.size(); ++axis) {
        widest = step(axis) > step(widest) ? axis : widest;
        for (std::size_t more = 1; more <= 2 && step(axis) > 0; ++more) {
            Cells tried = cells;
            tried[axis] += more;
            const double lower = before - spacingResidual(tried, fewSamples);
            const double each = lower / static_cast<double>(countOf(tried) - countOf(cells));
            next = each > best ? tried : next;
            best = std::max(best, each);
        }
    }
    if (next == cells && step(widest) > 0)
        ++next[widest];
    return next;
}

// Of the cells that differ by up to two on each axis, the fewest that leave the residual, or those that leave
// the least.
GridSpacing::Cells GridSpacing::fewestNear(const Cells& cells, double residual,
                                           std::size_t mostPoints) const {
    const auto rank = [&](const Cells& tried) {
        const double left = spacingResidual(tried, samples.size());
        return std::tuple(std::max(left, residual), countOf(tried), left);
    };
    Cells fewest = cells;
    auto least = rank(cells);
    const std::size_t reach = 2;
    for (std::size_t i = 0; i < 5 * 5 * 5; ++i) {
        const Cells shifted{cells[0] + i / 25, cells[1] + i / 5 % 5, cells[2] + i % 5};
        if (std::ranges::any_of(shifted, [](std::size_t count) { return count <= reach; }))
            continue;
        const Cells tried{shifted[0] - reach, shifted[1] - reach, shifted[2] - reach};
        const bool isNear = countOf(tried) * 5 >= countOf(cells) * 4 && countOf(tried) <= countOf(cells);
        if (!isNear || tried == cells || divided(tried).tried > mostPoints)
            continue;
        const auto triedRank = rank(tried);
        fewest = triedRank < least ? tried : fewest;
        least = std::min(least, triedRank);
    }
    return fewest;
}

RefinedGrid GridSpacing::chosen(double residual, std::size_t mostPoints) const {
    Cells cells{1, 1, 1};
    bool isLimited = false;
    while (spacingResidual(cells, samples.size()) > residual) {
        const Cells next = nextCells(cells);
        isLimited = divided(next).tried > mostPoints;
        if (next == cells || isLimited)
            break;
        cells = next;
    }
    RefinedGrid grid = divided(fewestNear(cells, residual, mostPoints));
    grid.isLimited = isLimited;
    return grid;
}

ExpectedResidual GridSpacing::expected(std::span<const GridPoint> points, std::span<const GridPoint> settings,
                                       double surfaceError) const {
    std::vector<std::vector<double>> candidates;
    for (const GridPoint& point : points)
        candidates.push_back(places.placeOf(point));
    ExpectedResidual residual;
    for (const GridPoint& setting : settings) {
        const auto place = places.placeOf(setting);
        double least = std::numeric_limits<double>::infinity();
        for (const auto& candidate : candidates)
            least = std::min(least, squaredDistance(place, candidate));
        const double left = std::sqrt(1 + least + surfaceError);
        residual.mean += left / static_cast<double>(settings.size());
        residual.worst = std::max(residual.worst, left);
    }
    return residual;
}

} // namespace ombrel
