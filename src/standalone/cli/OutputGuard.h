#pragma once

#include <span>
#include <string>

namespace ombrel::cli {

// An output may stand neither for what is there already, unless it is forced, nor for an input, ever, nor for
// a folder. `inputs` may go on with "::/dataset". Throws Error.
void checkOutputPath(const std::string& output, bool force, std::span<const std::string> inputs);

} // namespace ombrel::cli
