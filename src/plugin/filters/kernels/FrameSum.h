#pragma once

#include "zt/FrameHolder.h"
#include "zt/IDataMgr.h"

#include <optional>
#include <span>

namespace PluginOmbrel {

// The sum of frames, in double.
class FrameSum {
public:
    explicit FrameSum(zt::IDataMgr& dataMgr) : frames(dataMgr) {}

    // The first frame gives the sum its size. Returns 0, ERR_INVALID_INPUT for a frame of another number of
    // pixels, or ERR_GENERIC when the host has no frame for the sum.
    int add(zt::IMpxFrame& frame);
    // Makes the sum the mean.
    void divideByCount();

    bool empty() const { return count == 0; }
    std::span<const double> pixels() const;
    // Null when empty; otherwise of type double, and the sum's own.
    const zt::IMpxFrame* frame() const { return sum ? sum->get() : nullptr; }

private:
    zt::IDataMgr& frames;
    std::optional<zt::FrameHolder> sum;
    int count = 0;
};

} // namespace PluginOmbrel
