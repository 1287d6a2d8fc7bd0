#include "calibration/GridSurface.h"

#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace ombrel {

namespace {

std::array<double, 3> coordinates(const GridPoint& point) {
    return {point.v, point.t, point.e};
}

// The inverse of a symmetric positive definite matrix, by Gauss and Jordan. Nothing if it has none.
std::optional<std::vector<double>> inverted(std::vector<double> matrix, std::size_t size) {
    std::vector<double> inverse(size * size);
    for (std::size_t i = 0; i < size; ++i)
        inverse[i * size + i] = 1;
    for (std::size_t column = 0; column < size; ++column) {
        const double pivot = matrix[column * size + column];
        if (!(pivot > 1e-9))
            return std::nullopt;
        for (std::size_t k = 0; k < size; ++k) {
            matrix[column * size + k] /= pivot;
            inverse[column * size + k] /= pivot;
        }
        for (std::size_t row = 0; row < size; ++row) {
            const double factor = row == column ? 0 : matrix[row * size + column];
            for (std::size_t k = 0; k < size && factor != 0; ++k) {
                matrix[row * size + k] -= factor * matrix[column * size + k];
                inverse[row * size + k] -= factor * inverse[column * size + k];
            }
        }
    }
    return inverse;
}

} // namespace

GridPolynomial::GridPolynomial(const CalibrationGrid& grid, int degree) : highest(degree) {
    std::array<int, 3> most{};
    for (std::size_t axis = 0; const auto* values : {&grid.v(), &grid.t(), &grid.e()}) {
        const double first = values->front(), last = values->back();
        axes[axis] = {(first + last) / 2, values->size() > 1 ? (last - first) / 2 : 1};
        most[axis++] = std::min(degree, static_cast<int>(values->size()) - 1);
    }
    for (int a = 0; a <= most[0]; ++a)
        for (int b = 0; b <= std::min(most[1], degree - a); ++b)
            for (int c = 0; c <= std::min(most[2], degree - a - b); ++c)
                exponents.push_back({a, b, c});
}

std::vector<double> GridPolynomial::at(const GridPoint& point) const {
    std::array<std::vector<double>, 3> powers;
    const auto place = coordinates(point);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        powers[axis].assign(static_cast<std::size_t>(highest) + 1, 1);
        for (std::size_t i = 1; i < powers[axis].size(); ++i)
            powers[axis][i] = powers[axis][i - 1] * (place[axis] - axes[axis].middle) / axes[axis].half;
    }
    std::vector<double> terms;
    for (const auto& [a, b, c] : exponents)
        terms.push_back(powers[0][static_cast<std::size_t>(a)] * powers[1][static_cast<std::size_t>(b)] *
                        powers[2][static_cast<std::size_t>(c)]);
    return terms;
}

std::optional<GridFit> GridFit::of(const GridPolynomial& polynomial, std::span<const GridPoint> points) {
    const std::size_t count = polynomial.size();
    Terms terms;
    for (const GridPoint& point : points)
        terms.push_back(polynomial.at(point));
    std::vector<double> normal(count * count);
    for (const auto& at : terms)
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t j = 0; j < count; ++j)
                normal[i * count + j] += at[i] * at[j];
    auto inverse = inverted(std::move(normal), count);
    return inverse ? std::optional(GridFit(terms, std::move(*inverse))) : std::nullopt;
}

GridFit::GridFit(const Terms& terms, std::vector<double> normalInverse)
    : termCount(terms.front().size()), pointCount(terms.size()), inverse(std::move(normalInverse)),
      weights(termCount * pointCount), leverages(pointCount) {
    for (std::size_t point = 0; point < pointCount; ++point)
        for (std::size_t i = 0; i < termCount; ++i) {
            double& weight = weights[i * pointCount + point];
            for (std::size_t j = 0; j < termCount; ++j)
                weight += inverse[i * termCount + j] * terms[point][j];
            leverages[point] += terms[point][i] * weight;
        }
}

void PixelSurfaces::add(const GridFit& fit, std::size_t point, std::span<const double> flat) {
    const double mean = meanOf(flat);
    std::vector<float> logarithms(count);
    for (std::size_t i = 0; i < count; ++i) {
        isDead[i] = isDead[i] || !(flat[i] > 0);
        logarithms[i] = isDead[i] ? 0 : static_cast<float>(std::log(flat[i] / mean));
    }
    for (std::size_t term = 0; term < polynomial.size(); ++term) {
        const double weight = fit.weight(term, point);
        const auto part = static_cast<float>(weight);
        level[term] += weight * std::log(mean);
        float* const row = coefficients.data() + term * count;
        for (std::size_t i = 0; i < count; ++i)
            row[i] += part * logarithms[i];
    }
}

std::vector<float> PixelSurfaces::at(const GridPoint& point, bool normalised) const {
    const auto terms = polynomial.at(point);
    std::vector<float> image(count);
    for (std::size_t term = 0; term < terms.size(); ++term) {
        const auto factor = static_cast<float>(terms[term]);
        const float* const row = coefficients.data() + term * count;
        for (std::size_t i = 0; i < count; ++i)
            image[i] += factor * row[i];
    }
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        image[i] = isDead[i] ? 0 : std::exp(image[i]);
        sum += image[i];
    }
    const double scale = (normalised ? 1 : levelAt(point)) * static_cast<double>(count) / sum;
    for (float& pixel : image)
        pixel = static_cast<float>(pixel * scale);
    return image;
}

double PixelSurfaces::levelAt(const GridPoint& point) const {
    const auto terms = polynomial.at(point);
    double logLevel = 0;
    for (std::size_t term = 0; term < terms.size(); ++term)
        logLevel += terms[term] * level[term];
    return std::exp(logLevel);
}

SurfaceErrors surfaceErrors(const GridFit& fit, const GridPolynomial& polynomial,
                            std::span<const GridPoint> points, const SampledLogs& logs) {
    std::vector<double> coefficients(polynomial.size() * logs.pixels);
    for (std::size_t term = 0; term < polynomial.size(); ++term)
        for (std::size_t point = 0; point < points.size(); ++point)
            for (std::size_t i = 0; i < logs.pixels; ++i)
                coefficients[term * logs.pixels + i] += fit.weight(term, point) * logs.row(point)[i];
    SurfaceErrors errors;
    for (std::size_t point = 0; point < points.size(); ++point) {
        const auto terms = polynomial.at(points[point]);
        double squares = 0;
        for (std::size_t i = 0; i < logs.pixels; ++i) {
            double residual = logs.row(point)[i];
            for (std::size_t term = 0; term < terms.size(); ++term)
                residual -= terms[term] * coefficients[term * logs.pixels + i];
            squares += residual * residual;
        }
        squares /= static_cast<double>(logs.pixels);
        const double rest = std::max(1 - fit.leverage(point), 1e-9);
        errors.leftOut += squares / (rest * rest) / static_cast<double>(points.size());
        // What photon noise alone leaves is (1 - leverage) of it; more is the model's fault.
        const double fault = std::max(0.0, squares - rest * logs.noise[point]);
        errors.model += fault / static_cast<double>(points.size());
        errors.atPoint.push_back(fault + fit.leverage(point) * logs.noise[point]);
    }
    return errors;
}

double nearestError(const SampledLogs& logs) {
    constexpr std::size_t mostCompared = 64; // with all others
    const std::size_t points = logs.noise.size();
    const std::size_t step = (points + mostCompared - 1) / mostCompared;
    double sum = 0;
    for (std::size_t one = 0; one < points; one += step) {
        double least = std::numeric_limits<double>::infinity();
        for (std::size_t other = 0; other < points; ++other) {
            double squares = 0;
            for (std::size_t i = 0; i < logs.pixels && other != one; ++i) {
                const double difference = logs.row(one)[i] - logs.row(other)[i];
                squares += difference * difference;
            }
            if (other != one)
                least = std::min(least, squares / static_cast<double>(logs.pixels));
        }
        sum += least;
    }
    return sum / static_cast<double>((points + step - 1) / step);
}

} // namespace ombrel
