#pragma once

#include "zt/Types.h"

#include <cstddef>
#include <span>
#include <string>

namespace ombrel {

// Hashes tell whether pixels or files are the same as before; they are no protection against forgery. XXH3 of
// xxHash: 64 bit for pixels, 128 bit for files.

zt::u64 pixelHash(std::span<const std::byte> pixels);

// The hash of a file's bytes as 32 hexadecimal digits. Throws Error.
std::string fileHash(const std::string& path);

// A hash of 64 bit as 16 hexadecimal digits.
std::string hashText(zt::u64 hash);

} // namespace ombrel
