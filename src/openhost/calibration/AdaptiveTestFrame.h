#pragma once

#include "calibration/CalibrationGridFlats.h"

#include <cstddef>
#include <span>
#include <vector>

namespace ombrel {

// How the flat field that a frame is tried with came about.
enum class FlatOrigin {
    WithoutTest, // from other frames
    WithTest,    // the frame is part of it
};

// A frame of the open beam whose settings are known, to try a calibration with.
class AdaptiveTestFrame {
public:
    // `mask` leaves out the pixels where it is 0; it may be empty. Left out as well are dead pixels, and
    // those of less than a third or more than three times the flat field's mean. Throws Error when none is
    // left.
    AdaptiveTestFrame(const GridPoint& gridPoint, GridFlat flat, std::span<const float> mask,
                      FlatOrigin origin);

    const GridPoint& point() const { return at; }
    // One more reference of the frame.
    FramePtr frame() const;

    // Relative deviation of the corrected pixels from their mean, as a multiple of what photon statistics of
    // frame and flat field make of it: 1 for a perfect correction.
    double residual(const Frame& corrected) const;

private:
    GridPoint at;
    FramePtr measured;
    std::vector<std::size_t> pixels; // those that count
    double variance = 0;             // expected, relative, mean of these pixels
};

} // namespace ombrel
