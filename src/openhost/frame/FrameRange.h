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

// Reads "A:B", where either side may be left out, for a stack of `frames` frames. Throws UsageError when the
// text is no range, or names frames that are not there, or none.
FrameRange parseFrameRange(const std::string& text, zt::u64 frames);

// Throws UsageError when the text is no range, whatever the stack will hold.
void checkFrameRange(const std::string& text);

} // namespace ombrel
