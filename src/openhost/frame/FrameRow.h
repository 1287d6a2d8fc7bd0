#pragma once

#include "frame/Statistics.h"
#include "zt/Types.h"

#include <QJsonObject>

#include <optional>
#include <string>

namespace ombrel {

// A grid point of the adaptive filter, with the value of its quality function: the smaller the flatter.
struct ScoredPoint {
    double v = 0;
    double t = 0;
    double e = 0;
    double value = 0;
};

// What a search of the adaptive filter chose, and what came next to it.
struct SelectedFlatField {
    ScoredPoint best;
    ScoredPoint next;       // NaN throughout where there was only one candidate
    bool ambiguous = false; // both values are equal as the filter prints them
};

// What an output tells of a frame beside its pixels.
struct FrameRow {
    bool failed = false;
    std::string reason;     // why it failed, in one line
    zt::u64 inputHash = 0;  // of the pixels as they were read; 0 when they could not be
    zt::u64 outputHash = 0; // of the pixels as they are stored; 0 when it failed
    FrameStatistics input;
    FrameStatistics output;
    double seconds = 0;                      // that the chain took
    std::optional<SelectedFlatField> choice; // of the adaptive filter, where one is in the chain
};

// A row as JSON: hashes as hexadecimal digits, and no key for what there is not (a number that is none, the
// output of a failed frame, a grid point where no grid was searched).
QJsonObject toJson(const FrameRow& row);
FrameRow frameRowFromJson(const QJsonObject& json);

} // namespace ombrel
