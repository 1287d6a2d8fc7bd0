#pragma once

#include "zt/Types.h"

#include <string>

namespace ombrel {

struct FrameSize {
    zt::u32 width = 0;
    zt::u32 height = 0;
};

// Reads "WxH", each side 1 to 65535. Throws UsageError that names the option.
FrameSize parseFrameSize(const std::string& option, const std::string& text);

} // namespace ombrel
