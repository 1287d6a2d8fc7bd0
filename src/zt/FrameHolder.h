#pragma once

#include "zt/IMpxFrame.h"

namespace zt {

// Takes over the one reference with which a frame is handed over, and gives it back at the end of the scope.
// A null frame is held without effect.
class FrameHolder {
public:
    explicit FrameHolder(IMpxFrame* handedOver) : frame(handedOver) {
        if (!frame)
            return;
        // The holder's own reference, then back goes the one that came with the frame.
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
