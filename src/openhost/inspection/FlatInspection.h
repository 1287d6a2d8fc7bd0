#pragma once

#include "frame/Frame.h"
#include "frame/FrameFile.h"
#include "frame/Statistics.h"
#include "inspection/FieldDrift.h"
#include "zt/Types.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

enum class Verdict { Good, Dark, Level, Structure, Saturated, Duplicate, NotFinite };

// "good", "not finite" and so on, as in messages and reports.
std::string_view verdictName(Verdict verdict);

// Where a frame was read from; counted from 0 in its file.
struct FieldPlace {
    std::string file;
    zt::u32 frame = 0;

    std::string text() const { return frameText(file, frame); }
};

// Frames of one condition, which are judged among themselves.
struct FieldSet {
    std::string name; // for messages: "flat fields", "dark fields of thickness 0.5"
    bool areDarks = false;
    zt::u32 width = 0;
    zt::u32 height = 0;
    std::vector<FieldPlace> places;
    bool wantsThumbnails = false;
    // Called from one thread at a time. Throws Error.
    std::function<FramePtr(std::size_t field)> read;
};

// Beyond these a frame is not good.
struct InspectionLimits {
    double dark = 10;                 // percent of the median level; below it, a flat field is dark
    double level = 20;                // percent above or below the median level
    double saturated = 1;             // percent of the pixels
    std::optional<double> saturation; // lowest saturated value; default: the top of 8 and 16 bit integers
    std::optional<double> structure;  // sigma; default: as many as give 1 false alarm in 100,000 good frames
};

// A frame in small: each pixel is the mean of those that it shows and that count; NaN without any.
struct FieldThumbnail {
    zt::u32 width = 0;
    std::vector<double> pixels;
};

// What was measured in a frame, and what follows from it.
struct FieldVerdict {
    FieldPlace place;
    double level = 0;         // mean of its pixels
    double relativeLevel = 0; // level over the set's median level
    zt::u64 zero = 0;         // pixels
    zt::u64 saturated = 0;
    zt::u64 notFinite = 0;
    std::optional<double> structure; // deviation of the worst tile in sigma
    Region worstTile;
    Verdict verdict = Verdict::Good;
    std::string reason;       // begins with the verdict's name; empty for a good frame
    FieldThumbnail thumbnail; // empty unless wanted
};

struct InspectionReport {
    std::string name;
    bool areDarks = false;
    zt::u32 width = 0;
    zt::u32 height = 0;
    double medianLevel = 0;
    std::vector<FieldVerdict> fields;
    std::string unjudged;      // why structure was not judged; empty if it was
    double noise = 1;          // standard deviation relative to photon statistics; 1 if it does not differ
    double structureLimit = 0; // sigma
    std::optional<FieldDrift> drift;

    std::size_t goodCount() const;
};

// Judges the frames of a set. Reads each frame once, and once more those that may hold structure when they do
// not fit into a part of the free memory. Throws Error.
InspectionReport inspectFields(const FieldSet& set, const InspectionLimits& limits);

} // namespace ombrel
