#pragma once

#include <functional>
#include <string>

// What answers in place of the windows that filters open: these tests run without a window system.
namespace filterwindows {

// Gets the label and returns the index of the sub-frame, or -1.
inline std::function<int(const std::string& label)> subFrameAnswer = [](const std::string&) { return -1; };

} // namespace filterwindows
