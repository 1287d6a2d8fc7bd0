#pragma once

#include "zt/Types.h"

#include <string>

namespace ombrel {

// Frames `begin` to `end` - 1.
struct FrameRange {
    zt::u64 begin = 0;
    zt::u64 end = 0;

    zt::u64 count() const { return end - begin; }
};

// Parses "A:B", where either side may be omitted, for a stack of `frames` frames. Throws UsageError if the
// text is not a range, or the range is empty or exceeds the stack.
FrameRange parseFrameRange(const std::string& text, zt::u64 frames);

// Throws UsageError if the text is not a range, without knowing the stack.
void checkFrameRange(const std::string& text);

} // namespace ombrel
