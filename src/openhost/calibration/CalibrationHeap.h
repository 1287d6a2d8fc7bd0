#pragma once

#include "base/AtomicFile.h"
#include "calibration/AdaptiveTrial.h"
#include "calibration/CalibrationGrid.h"
#include "calibration/CalibrationGridTable.h"
#include "settings/CalibrationFacts.h"
#include "uncertainty/PhotonTransfer.h"
#include "zt/Types.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The contents of a heap file besides the images of its grid.
struct HeapSettings {
    zt::i32 elementSize = 0; // side of one sensor element in pixels
    zt::u32 width = 0;       // of every image; at least 2, since an image of one column marks a hole
    zt::u32 height = 0;
    std::span<const float> compensationMask; // multiplies every frame; empty: none
};

// Writes the calibration of the adaptive filter, image after image:
//
//   i32 element size, i32 whether there is a mask, the mask's image block if so;
//   for V, T and E: u64 count, then the values as floats;
//   for each grid point, V slowest and E fastest, an image block, of 1 x 1 for a hole.
//
// All little-endian. commit() replaces the file atomically; without it nothing is left. Throws Error with the
// path.
class CalibrationHeap {
public:
    CalibrationHeap(const std::string& path, const CalibrationGrid& grid, const HeapSettings& settings);

    // Whether a file may be replaced by a heap: it is missing or empty, or has the layout of a heap.
    static bool mayReplace(const std::string& path);

    // Writes the flat field of the next grid point that has one, in the order of CalibrationGrid::points().
    void append(std::span<const float> pixels);
    // Call it after the images of all grid points. Flushes the contents to the disk, at newPath(), ready for
    // commit().
    void sync();
    const std::string& newPath() const { return file.newPath(); }
    void commit();

private:
    void writeHoles();
    void checkPixels(std::size_t count, const std::string& what) const;

    AtomicFile file;
    std::vector<bool> isHole;
    std::size_t next = 0;
    zt::u32 width;
    zt::u32 height;
};

// The image of a flat field, and what it was divided by: its mean if asked for.
std::vector<float> imageOf(std::span<const double> pixels, bool normalise);
double divisorOf(std::span<const double> pixels, bool normalise);

// The contents of the heap files of one calibration.
struct AdaptiveHeapPlan {
    const CalibrationGrid& grid;
    const CalibrationGridFlats& flats;
    HeapSettings settings;
    bool normalise = false; // each image divided by its mean
};

// The paths of the heap files.
struct AdaptiveHeapPaths {
    std::string whole;  // of all frames
    std::string trial;  // without the test frame of each point; of the trial grid
    std::string coarse; // of every second value of each axis; not made without a coarse grid
};

// Heap files, made in one pass over all frames, and frames to try them with. The whole heap is renamed to its
// path only by its commit().
class AdaptiveHeaps {
public:
    // `advanced` is called once per grid point. Throws Error.
    AdaptiveHeaps(const AdaptiveHeapPlan& plan, const AdaptiveHeapPaths& paths,
                  const std::function<void()>& advanced);

    // Of all frames, ready for sync() and commit().
    CalibrationHeap& wholeHeap() { return whole; }
    bool hasCoarse() const { return coarse.has_value(); }
    // The frames that are not part of their own flat field.
    std::span<const AdaptiveTestFrame> tests() const { return std::span(testFrames).subspan(ownFlatCount); }
    // Frames that lie between points of the coarse grid.
    std::span<const AdaptiveTestFrame> testsBetween() const {
        return std::span(testFrames).first(betweenCount);
    }
    const CalibrationGrid& trialGrid() const { return tried.grid; }
    // Of all grid points.
    const std::vector<GridPointFacts>& facts() const { return pointFacts; }
    std::optional<double> gain() const { return transfer.gain(); }
    // The number of points that have a flat field.
    std::size_t images() const { return imageCount; }
    // The number of points with a single frame, which is then its own flat field.
    std::size_t singleFrames() const { return singles; }
    // The mean of the brightest flat field divided by that of the faintest.
    double levelRatio() const { return greatestLevel / leastLevel; }

private:
    void addPoint(const AdaptiveHeapPlan& plan, std::size_t index, GridFlat flat, bool isTest);

    void addTest(const AdaptiveHeapPlan& plan, std::size_t index, GridFlat flat);

    std::optional<CoarseGrid> coarse;
    TrialGrid tried;
    CalibrationHeap whole;
    CalibrationHeap trial;
    std::optional<CalibrationHeap> coarseHeap;
    // Those between points of the coarse grid come first; of these, those that are their own flat field.
    std::vector<AdaptiveTestFrame> testFrames;
    std::vector<GridPointFacts> pointFacts;
    PhotonTransfer transfer;
    std::size_t betweenCount = 0;
    std::size_t ownFlatCount = 0;
    std::size_t imageCount = 0;
    std::size_t singles = 0;
    double leastLevel;
    double greatestLevel = 0;
};

// Selects those of `count` points that are tried: all, or evenly spread ones of a large grid.
std::vector<bool> testPoints(std::size_t count);

} // namespace ombrel
