#pragma once

#include "host/DataType.h"
#include "host/Types.h"
#include "standalone/FilterLink.h"

#include <functional>
#include <optional>
#include <span>
#include <string>

namespace ombrel {

class Chain;
class FrameStack;

// Frames `begin` to `end` - 1 of a stack through a chain into an output.
struct BatchPlan {
    FrameStack& stack;
    Chain& chain;
    zt::u64 begin = 0;
    zt::u64 end = 0;
    std::optional<double> acqTime; // seconds, for every frame; else what the file tells
    std::string outputPath;
    zt::u8 outputType = zt::DT_FLOAT; // or DT_DOUBLE
    ApplyMode mode = ApplyMode::Copy;
};

// What the walk tells as it goes, each for one frame by its index in the stack. All but `wantsStop` may be
// empty.
struct BatchListener {
    std::function<void(zt::u64 frame)> frameDone; // good or failed, behind the others
    std::function<void(zt::u64 frame, const std::string& reason)> frameFailed;
    std::function<void(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected)>
        frameCorrected;
    std::function<bool()> wantsStop; // asked before each frame
};

struct BatchResult {
    zt::u64 corrected = 0;
    zt::u64 failed = 0;
    bool stopped = false;
    // False when no frame was good: there is no output then.
    bool hasOutput = false;
};

// Walks the frames in order. A frame that can't be read, that a filter refuses or on which it throws is a
// failed frame; it stands in the output as NaN, so that indexes keep. The output is made at the first good
// frame, when its size is known. Throws Error when the output can't be written; what stands there then is
// whole up to that frame.
BatchResult runBatch(const BatchPlan& plan, const BatchListener& listener);

} // namespace ombrel
