#pragma once

#include <cstddef>

namespace ombrel {

class Frame;

// Keeps count of the frames alive. In debug builds it knows each of them, and ends the program with one line
// on standard error when a frame is used that is dead, or freed while others hold it.
class FrameCheck {
public:
    static void born(const Frame* frame);
    static void died(const Frame* frame);
    static std::size_t aliveCount();

    // `operation` is what is being done to the frame, for the message.
    static void mustLive(const Frame* frame, const char* operation);
    static void mustBeLast(int references);
};

} // namespace ombrel
