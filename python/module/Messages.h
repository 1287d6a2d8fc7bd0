#pragma once

#include "base/Console.h"

#include <stdexcept>
#include <string>

namespace ombrel::python {

// The console of all calls into the library. Its messages wait until passOnMessages(), since threads that log
// do not hold the interpreter.
Console& console();

// Passes messages to logging.getLogger("ombrel"). Needs the interpreter.
void passOnMessages();

// Passes messages on at the end of a call, however it ends.
class MessageScope {
public:
    MessageScope() = default;
    ~MessageScope();
    MessageScope(const MessageScope&) = delete;
    MessageScope& operator=(const MessageScope&) = delete;
};

// A frame that could not be corrected; raised as ombrel.FrameError.
class FrameFailure : public std::runtime_error {
public:
    FrameFailure(const std::string& reason, long long frame) : std::runtime_error(reason), index(frame) {}

    long long index; // -1 for a frame without an index
};

// Lets exceptions of the library arrive as those of the package.
void registerErrors();

// From now on, what filters print to the standard output is dropped.
void silenceFilters();

} // namespace ombrel::python
