#pragma once

#include "frame/Frame.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRow.h"
#include "host/Chain.h"
#include "zt/Types.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

class FrameStack;

// Frames `begin` to `end` - 1 of a stack through chains into an output.
struct BatchPlan {
    FrameStack& stack;
    std::span<Chain> workers; // at least one; each corrects frames of its own at the same time as the others
    zt::u64 begin = 0;
    zt::u64 end = 0;
    std::optional<double> acqTime; // seconds, for every frame; else what the file tells
    ApplyMode mode = ApplyMode::Copy;
    OutputPlan output; // width, height and frames are found out
    // An output that was cut off, to go on with behind its frames; null for a new one.
    const OutputState* begun = nullptr;
    // The filters remember from frame to frame: all frames of the stack before those to store go through them
    // first, and there must be one worker.
    bool remembers = false;
    // What the worker's adaptive filter chose for the frame that it has just corrected; may be empty.
    std::function<std::optional<SelectedFlatField>(std::size_t worker, zt::u64 frame)> choice;
};

// What the walk tells as it goes, for one frame after the other, in order, by its index in the stack. Each of
// them may be empty.
struct BatchListener {
    std::function<void(zt::u64 frame)> frameDone; // good or failed, and stored
    std::function<void(zt::u64 frame, const FrameRow& row)> frameRow;
    std::function<void(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected)>
        frameCorrected;
    std::function<bool()> wantsStop; // asked before each frame, on another thread
};

struct BatchResult {
    zt::u64 corrected = 0;
    zt::u64 failed = 0;
    bool stopped = false;
    // False when no frame was good: there is no output then.
    bool hasOutput = false;
};

// Reads, corrects and writes the frames, all at once, and stores them in order. A frame that can't be read,
// that a filter refuses or on which it throws is a failed frame; it stands in the output as NaN, so that
// indexes keep. The output is made at the first good frame, when its size is known. Throws Error when the
// output can't be written; what stands there then is whole up to that frame.
BatchResult runBatch(const BatchPlan& plan, const BatchListener& listener);

// The output of a batch: made at the first good frame, when its size is known, or opened where it was cut
// off. What failed before the first good frame is written then.
class DeferredOutput {
public:
    explicit DeferredOutput(const BatchPlan& batch);

    // The frame in the output's pixel type; null when it failed. Throws Error.
    void append(const Frame* frame, const FrameRow& row);
    bool exists() const { return output != nullptr; }
    void finish();

private:
    void make(const Frame& first);

    const BatchPlan& plan;
    OutputPlan made;
    std::unique_ptr<FrameOutput> output;
    std::vector<FrameRow> earlyFailures;
};

} // namespace ombrel
