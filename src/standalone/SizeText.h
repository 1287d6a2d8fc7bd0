#pragma once

#include "host/Types.h"

#include <string>

namespace ombrel {

// "WIDTH x HEIGHT".
inline std::string sizeText(zt::u32 width, zt::u32 height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

} // namespace ombrel
