#pragma once

#include <string>
#include <vector>

namespace ombrel::cli {

// Goes on as the program that has the windows, which lies beside this one, with these arguments. Throws Error
// when it can't be started.
[[noreturn]] void becomeWorkbench(const std::vector<std::string>& arguments);

} // namespace ombrel::cli
