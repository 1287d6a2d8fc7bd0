#pragma once

#include "calibration/GridSurface.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// How far apart two flat fields are for a frame: each point of the grid has a place, and the squared distance
// of two places is the variance of the quotient of their flat fields, as a multiple of that of a frame's
// photon noise. A frame corrected with a flat field at distance d is left with sqrt(1 + d^2) times photon
// statistics.
class GridMetric {
public:
    GridMetric(const GridPolynomial& polynomial, const GridFit& fit, const SampledLogs& logs,
               double frameVariance);

    std::vector<double> placeOf(const GridPoint& point) const;

private:
    GridPolynomial terms;
    std::vector<std::vector<double>> factor; // columns; its product with its transpose gives the distances
};

// A refined grid and the search that it is made for.
struct RefinedGrid {
    bool isForLookAround = false;
    std::array<std::size_t, 3> values{}; // on each axis; for the linear search without the measured ones
    std::vector<GridPoint> written;      // the points that get a flat field
    std::vector<GridPoint> candidates;   // these, and the midpoints that the filter computes
    std::size_t tried = 0;               // candidates that a search divides a frame by
    bool isLimited = false;              // more points were needed for the residual that was asked for
};

// What frames at settings all over the grid are left with, as a multiple of photon statistics.
struct ExpectedResidual {
    double mean = 0;
    double worst = 0;
};

// Divides the range of each axis into parts, over which the flat field changes by the same.
class GridSpacing {
public:
    using Cells = std::array<std::size_t, 3>; // on each axis

    // `measured`: the points that have a flat field; `surfaceError`: variance of the surface's own error, as
    // a multiple of that of a frame's photon noise.
    GridSpacing(const GridMetric& metric, const CalibrationGrid& grid, std::span<const GridPoint> measured,
                double surfaceError);

    // For the linear search: a flat field in the middle of each cell, and the measured ones. At least one
    // cell on each axis; an axis of one value has one.
    RefinedGrid divided(const Cells& cells) const;
    // For the look-around search, which the filter runs only on 5 x 5 x 5 stored points, here with their
    // midpoints. It refuses a frame whose coarse winner is the first on the axis of E: that axis begins
    // before the range, so far that the first is never the best. Nothing for a grid with an axis of one
    // value.
    std::optional<RefinedGrid> forLookAround() const;
    // A grid of few points whose spacing alone leaves `residual` in the mean, or the best one of up to
    // `mostPoints`: the axis on which a candidate more helps most is divided further until then.
    RefinedGrid chosen(double residual, std::size_t mostPoints) const;

    // Settings spread over the grid.
    std::span<const GridPoint> settings() const { return samples; }
    // Of the measured points alone, and of a refined grid.
    ExpectedResidual expected() const { return expected(known, samples, 0); }
    ExpectedResidual expected(const RefinedGrid& grid) const {
        return expected(grid.candidates, samples, error);
    }

private:
    struct Axis {
        std::vector<float> measured;
        std::vector<double> lengths; // from the first value, at equal steps of the setting; in distances
    };

    // At the first of the samples.
    double spacingResidual(const Cells& cells, std::size_t settings) const;
    Cells nextCells(const Cells& cells) const;
    Cells fewestNear(const Cells& cells, double residual, std::size_t mostPoints) const;
    ExpectedResidual expected(std::span<const GridPoint> points, std::span<const GridPoint> settings,
                              double surfaceError) const;
    // The value at a part of the axis's length; before 0 the first part is extended.
    float valueAt(const Axis& axis, double part) const;
    std::vector<double> lengthsAlong(std::size_t axis) const;

    const GridMetric& places;
    std::vector<GridPoint> known;
    std::vector<GridPoint> samples; // spread over the grid
    std::array<Axis, 3> axes;
    double error;
};

} // namespace ombrel
