#pragma once

#include "frame/Statistics.h"
#include "zt/Types.h"

#include <QJsonObject>

#include <optional>
#include <string>

namespace ombrel {

// A grid point of the adaptive filter, with the value of its quality function: a smaller value means a
// flatter result.
struct ScoredPoint {
    double v = 0;
    double t = 0;
    double e = 0;
    double value = 0;
};

// Sides of a grid, a bit each: V below the grid (1), V above it (2), then T and E.
using GridSides = zt::u8;
// "V below, E above"; empty for none.
std::string sidesText(GridSides sides);

// The grid point chosen by a search of the adaptive filter, and the second best.
struct SelectedFlatField {
    ScoredPoint best;
    ScoredPoint next;       // all NaN if there was only one candidate
    bool ambiguous = false; // both values are equal in the precision of the filter's log
    GridSides outside = 0;  // sides of the grid beyond which a better flat field would lie
};

// The data that an output stores for a frame besides its pixels.
struct FrameRow {
    bool failed = false;
    std::string reason;     // why it failed, in one line
    zt::u64 inputHash = 0;  // of the pixels as read; 0 if they could not be read
    zt::u64 outputHash = 0; // of the pixels as stored; 0 for a failed frame
    zt::u64 marked = 0;     // pixels that the detector marked in this frame, and that were filled
    zt::u64 clipped = 0;    // pixels outside the range that 16 bits store
    FrameStatistics input;
    FrameStatistics output;
    double seconds = 0; // spent in the chain
    // The counts of the open beam by which the frame was divided; nothing for an output of counts.
    std::optional<double> level;
    zt::u64 notPositive = 0;                 // pixels without an attenuation: 0 or below
    std::optional<SelectedFlatField> choice; // of the adaptive filter, if it is in the chain
};

// A row as JSON, with hashes as hexadecimal digits. Absent values (NaN, the output of a failed frame, the
// grid point of a run without a grid) are omitted.
QJsonObject toJson(const FrameRow& row);
FrameRow frameRowFromJson(const QJsonObject& json);

} // namespace ombrel
