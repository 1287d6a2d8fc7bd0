#pragma once

#include "calibration/AdaptiveTestFrame.h"
#include "calibration/CalibrationGridFlats.h"
#include "calibration/CalibrationHeap.h"
#include "calibration/CoarseGrid.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

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
