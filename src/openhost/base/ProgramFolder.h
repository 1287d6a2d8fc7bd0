#pragma once

#include <filesystem>

namespace ombrel {

// The folder of the running program, where what belongs to it is looked for first.
std::filesystem::path programFolder();

} // namespace ombrel
