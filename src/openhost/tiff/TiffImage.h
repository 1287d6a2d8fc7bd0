#pragma once

#include "zt/Types.h"

#include <span>
#include <string>

namespace ombrel {

// Writes one page of bytes, row by row. Replaces the file atomically. Throws Error.
void writeTiffImage(const std::string& path, zt::u32 width, std::span<const zt::u8> pixels);

} // namespace ombrel
