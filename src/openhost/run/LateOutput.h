#pragma once

#include "frame/Frame.h"
#include "run/BatchRun.h"

#include <memory>
#include <vector>

namespace ombrel {

// The output of a batch: made at the first good frame, when its size is known, or opened where it was cut
// off. What failed before the first good frame is written then.
class LateOutput {
public:
    explicit LateOutput(const BatchPlan& batch);

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
