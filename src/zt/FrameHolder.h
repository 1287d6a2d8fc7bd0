#pragma once

#include "zt/IMpxFrame.h"

namespace zt {

// Takes over the one reference that comes with a frame and releases it at the end of the scope. Null is
// allowed.
class FrameHolder {
public:
    explicit FrameHolder(IMpxFrame* handedOver) : frame(handedOver) {
        if (!frame)
            return;
        // Take the holder's own reference first, then release the one that came with the frame.
        frame->addRef();
        frame->release();
    }

    ~FrameHolder() {
        if (frame)
            frame->release();
    }

    FrameHolder(const FrameHolder&) = delete;
    FrameHolder& operator=(const FrameHolder&) = delete;

    IMpxFrame* get() const { return frame; }
    IMpxFrame* operator->() const { return frame; }
    explicit operator bool() const { return frame != nullptr; }

private:
    IMpxFrame* frame;
};

} // namespace zt
