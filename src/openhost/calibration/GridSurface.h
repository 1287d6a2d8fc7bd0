#pragma once

#include "calibration/CalibrationGrid.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// A smooth surface through the flat fields of a grid: for each pixel, the logarithm of the flat field as a
// polynomial of V, T and E. See docs/refinement.md.

// The terms v^a t^b e^c of a polynomial with a + b + c up to its degree. On each axis the exponent stays
// below the number of measured values, so that the highest degree is that of the tensor product. V, T and E
// run from -1 to 1 over the grid.
class GridPolynomial {
public:
    GridPolynomial(const CalibrationGrid& grid, int degree);

    int degree() const { return highest; }
    std::size_t size() const { return exponents.size(); }
    // The value of each term.
    std::vector<double> at(const GridPoint& point) const;

private:
    struct Axis {
        double middle;
        double half; // 1 for an axis of one value
    };
    std::array<Axis, 3> axes;
    std::vector<std::array<int, 3>> exponents;
    int highest;
};

// The least-squares fit of a polynomial to values at the measured points.
class GridFit {
public:
    // Nothing when the points do not determine the polynomial, or not within the digits of a double.
    static std::optional<GridFit> of(const GridPolynomial& polynomial, std::span<const GridPoint> points);

    // The coefficient of a term is the sum of weight(term, point) x the value at that point.
    double weight(std::size_t term, std::size_t point) const { return weights[term * pointCount + point]; }
    // The part of the value at a point that the fit takes over at that point, 0 to 1.
    double leverage(std::size_t point) const { return leverages[point]; }
    // Covariance of two coefficients, for values of variance 1.
    double covariance(std::size_t one, std::size_t other) const { return inverse[one * termCount + other]; }

private:
    using Terms = std::vector<std::vector<double>>; // at each point
    GridFit(const Terms& terms, std::vector<double> normalInverse);

    std::size_t termCount;
    std::size_t pointCount;
    std::vector<double> inverse; // of the normal matrix
    std::vector<double> weights;
    std::vector<double> leverages;
};

// The surfaces of all pixels. The polynomial must stay valid.
class PixelSurfaces {
public:
    PixelSurfaces(const GridPolynomial& surface, std::size_t pixels)
        : polynomial(surface), coefficients(surface.size() * pixels), isDead(pixels), count(pixels),
          level(surface.size()) {}

    void add(const GridFit& fit, std::size_t point, std::span<const double> flat);
    // With the mean of a flat field taken there, or with the mean 1. Dead pixels are 0.
    std::vector<float> at(const GridPoint& point, bool normalised) const;
    // The mean of a flat field taken there.
    double levelAt(const GridPoint& point) const;

private:
    const GridPolynomial& polynomial;
    std::vector<float> coefficients; // of one term after the other
    std::vector<bool> isDead;
    std::size_t count;
    std::vector<double> level; // coefficients of the logarithm of the mean
};

// Logarithms of the flat fields at some pixels, one row of `pixels` values for each measured point.
struct SampledLogs {
    std::size_t pixels = 0;
    std::vector<double> values;
    std::vector<double> noise; // for each point: variance of its logarithms due to photon statistics, mean

    std::span<const double> row(std::size_t point) const {
        return std::span(values).subspan(point * pixels, pixels);
    }
};

// How well a polynomial predicts flat fields.
struct SurfaceErrors {
    double leftOut = 0;          // variance of a prediction from all other points, mean of all points
    double model = 0;            // variance by which the polynomial cannot follow the flat fields, mean
    std::vector<double> atPoint; // variance of the fit at each point: of the model and of the noise in it
};

// The prediction without a point follows from the fit to all: its error is residual / (1 - leverage).
SurfaceErrors surfaceErrors(const GridFit& fit, const GridPolynomial& polynomial,
                            std::span<const GridPoint> points, const SampledLogs& logs);

// The variance of the difference between a flat field and the one that comes nearest, mean of points spread
// over the grid.
double nearestError(const SampledLogs& logs);

} // namespace ombrel
