#pragma once

#include "zt/Types.h"

#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

namespace ombrel {

// "WIDTH x HEIGHT".
inline std::string sizeText(zt::u32 width, zt::u32 height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

// "1 frame", "2 frames".
inline std::string countText(zt::u64 count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

// "14.4 GB", "12 bytes".
inline std::string bytesText(double bytes) {
    constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB", "PB", "EB"};
    std::size_t unit = 0;
    for (; bytes >= 1000 && unit + 1 < std::size(units); ++unit)
        bytes /= 1000;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

} // namespace ombrel
