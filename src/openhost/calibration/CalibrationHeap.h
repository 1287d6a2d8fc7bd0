#pragma once

#include "base/AtomicFile.h"
#include "calibration/AdaptiveTrial.h"
#include "calibration/CalibrationGrid.h"
#include "calibration/CalibrationGridTable.h"
#include "zt/Types.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// What a heap file holds beside the images of its grid.
struct HeapSettings {
    zt::i32 elementSize = 0; // side of one sensor element in pixels
    zt::u32 width = 0;       // of every image; at least 2, since one column stands for a hole
    zt::u32 height = 0;
    std::span<const float> compensationMask; // multiplies every frame; empty: none
};

// Writes the calibration of the adaptive filter, image after image:
//
//   i32 element size, i32 whether there is a mask, the mask's image block if so;
//   for V, T and E: u64 count, then the values as floats;
//   for each grid point, V slowest and E fastest, an image block, of 1 x 1 for a hole.
//
// All little-endian. The file is replaced in one step by commit(); without it nothing is left. Throws Error
// with the path.
class CalibrationHeap {
public:
    CalibrationHeap(const std::string& path, const CalibrationGrid& grid, const HeapSettings& settings);

    // Whether a file may be replaced by a heap: one that is not there, is empty, or has the layout of a heap.
    static bool mayReplace(const std::string& path);

    // The flat field of the next grid point that is no hole, in the order of CalibrationGrid::points().
    void append(std::span<const float> pixels);
    // All grid points must have their image. The contents are on the disk then, at newPath(), and wait for
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

// What the heap files of one calibration are made of.
struct AdaptiveHeapPlan {
    const CalibrationGrid& grid;
    const CalibrationGridFlats& flats;
    HeapSettings settings;
    bool normalise = false; // each image divided by its mean
};

// Where they go.
struct AdaptiveHeapPaths {
    std::string whole;  // of all frames
    std::string trial;  // without the test frame of each point
    std::string coarse; // of every second value of each axis; not made where that is no grid
};

// Heap files, made in one pass over all frames, and frames to try them with. The whole one takes its place
// only by commit().
class AdaptiveHeaps {
public:
    // `advanced` is called once a grid point. Throws Error.
    AdaptiveHeaps(const AdaptiveHeapPlan& plan, const AdaptiveHeapPaths& paths,
                  const std::function<void()>& advanced);

    // The whole heap is on the disk then, at newPath(), and waits for commit().
    void sync() { whole.sync(); }
    const std::string& newPath() const { return whole.newPath(); }
    void commit() { whole.commit(); }

    bool hasCoarse() const { return coarse.has_value(); }
    std::span<const AdaptiveTestFrame> tests() const { return testFrames; }
    // Those that lie between points of the coarse grid.
    std::span<const AdaptiveTestFrame> testsBetween() const { return tests().first(betweenCount); }
    // How many points have a single frame, which then is its own flat field.
    std::size_t singleFrames() const { return singles; }
    // The brightest flat field's mean over the faintest one's.
    double levelRatio() const { return greatestLevel / leastLevel; }

private:
    void addPoint(const AdaptiveHeapPlan& plan, std::size_t index, GridFlat flat, bool isTest);

    std::optional<CoarseGrid> coarse;
    CalibrationHeap whole;
    CalibrationHeap trial;
    std::optional<CalibrationHeap> coarseHeap;
    std::vector<AdaptiveTestFrame> testFrames; // those between come first
    std::size_t betweenCount = 0;
    std::size_t singles = 0;
    double leastLevel;
    double greatestLevel = 0;
};

// Which of `count` points are tried: all, or evenly spread ones of a large grid.
std::vector<bool> testPoints(std::size_t count);

} // namespace ombrel
