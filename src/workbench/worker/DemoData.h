#pragma once

#include "base/Console.h"

#include <functional>
#include <string>

namespace ombrel::workbench {

// A small data set of a simulated detector to try the workbench with.
struct DemoData {
    std::string frames;    // of a sample
    std::string flatField; // settings for them
};

// Takes the set from the folder, or makes it there when it is not whole; `advanced` is told done and of.
// Throws Error.
DemoData prepareDemoData(const std::string& folder, const std::string& plugin, Console& console,
                         const std::function<void(int done, int of)>& advanced);

} // namespace ombrel::workbench
