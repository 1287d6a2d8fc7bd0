#pragma once

#include "calibration/CalibrationHeap.h"
#include "calibration/GridSpacing.h"
#include "calibration/SearchCost.h"
#include "frame/Frame.h"

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The values of --refine and the options that go with it.
struct RefineOptions {
    std::string cells;                  // "auto", "N" or "NxMxK"; empty: no refinement
    std::optional<double> timePerFrame; // milliseconds
    std::optional<double> frameCounts;  // counts a pixel of the frames to correct

    bool isOn() const { return !cells.empty(); }
};

// The numbers of cells; nothing for "auto". Throws UsageError.
std::optional<std::array<std::size_t, 3>> parseCells(const std::string& text);

// A finer grid, of flat fields from smooth surfaces through the measured ones. See docs/refinement.md.
class GridRefinement {
public:
    // Reads the flat fields and fits the surfaces at some pixels. Throws Error when a refined grid would be
    // no better than the measured one, with the reason. The plan must stay valid.
    GridRefinement(const AdaptiveHeapPlan& plan, const RefineOptions& options,
                   const std::function<void()>& advanced);

    // Chooses the grid, for a search if that is fixed. Throws Error if no grid that the options ask for fits
    // into memory and time.
    void choose(const SearchCost& cost, std::optional<int> search);
    const RefinedGrid& chosen() const { return refined; }
    // For people: how well the surfaces predict flat fields; the grids and what to expect of them.
    std::string surfaceText() const;
    std::string gridsText(const SearchCost& cost) const;

    // The chosen grid, every other point of it a hole.
    CalibrationGrid grid() const;
    // Reads the measured flat fields again, once for all grids that are written. `advanced` is called for
    // each.
    void fitAllPixels(const std::function<void()>& advanced);
    // Frames without a sample, with the counts of those to correct, at settings spread over the grid; to
    // measure the time with, after fitAllPixels().
    std::vector<FramePtr> exampleFrames() const;
    // Writes the flat fields of all points of the chosen grid, after fitAllPixels(). `advanced` is called for
    // each. Returns what is to be stored of all points of grid().
    std::vector<GridPointFacts> write(CalibrationHeap& heap, const std::function<void()>& advanced) const;

private:
    void sample(const std::function<void()>& advanced);
    void choosePolynomial();
    void refuseUnlessBetter() const;
    // The number of frames whose mean would be as precise as the surface is there.
    double framesAt(const GridPoint& point) const;
    double countsOfFrames() const;
    std::size_t mostPoints(const SearchCost& cost) const;
    // Writes one flat field.
    GridPointFacts write(CalibrationHeap& heap, const GridPoint& point) const;
    std::string gridText(const RefinedGrid& grid, const SearchCost& cost) const;

    const AdaptiveHeapPlan& plan;
    RefineOptions options;
    std::vector<GridPoint> points; // those that have a flat field
    std::vector<std::size_t> rows; // of the table, for each of them
    std::vector<double> counts;    // mean counts a pixel of all its frames
    SampledLogs logs;
    std::optional<GridPolynomial> polynomial;
    std::optional<GridFit> fit;
    SurfaceErrors errors;
    std::optional<PixelSurfaces> surfaces;
    double nearest = 0;
    double meanNoise = 0;
    double frameVariance = 0;
    std::optional<GridMetric> metric;
    std::optional<GridSpacing> spacing;
    RefinedGrid refined;
    std::optional<RefinedGrid> other; // that was not chosen
};

} // namespace ombrel
