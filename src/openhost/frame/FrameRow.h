#pragma once

#include "frame/FrameFigures.h"
#include "frame/GridChoice.h"
#include "zt/Types.h"

#include <optional>
#include <string>

namespace ombrel {

// What an output tells of a frame beside its pixels.
struct FrameRow {
    bool failed = false;
    std::string reason;     // why it failed, in one line
    zt::u64 inputHash = 0;  // of the pixels as they were read; 0 when they could not be
    zt::u64 outputHash = 0; // of the pixels as they are stored; 0 when it failed
    FrameFigures input;
    FrameFigures output;
    double seconds = 0;               // that the chain took
    std::optional<GridChoice> choice; // of the adaptive filter, where one is in the chain
};

} // namespace ombrel
