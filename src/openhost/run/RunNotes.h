#pragma once

#include "frame/FrameRow.h"

#include <map>
#include <string>
#include <vector>

namespace ombrel {

class FrameStack;

// "3, 7-17": frame numbers in ascending order, truncated after the first few.
std::string frameListText(const std::vector<zt::u64>& frames);

// The summary of a run: failed frames with their reasons, and suspicious frames. Frames with the same remark
// share a line.
class RunNotes {
public:
    // The stack must outlive the notes.
    explicit RunNotes(const FrameStack& inputs) : stack(&inputs) {}

    void add(zt::u64 frame, const FrameRow& row);

    // "frames.h5, frame 3: REASON; the same for 36 more frames: 4-39"
    std::vector<std::string> failures() const;

    // Frames of one kind, such as "constant".
    struct Kind {
        std::string name; // the property of the frames
        std::vector<zt::u64> frames;
    };
    const std::vector<Kind>& kinds() const { return oddFrames; }
    // "12 frames are constant: 3, 7-17"
    std::vector<std::string> remarks() const;

private:
    struct Failure {
        std::string reason; // of the first frame
        std::vector<zt::u64> frames;
    };

    std::string clippedText() const;
    void addKind(const std::string& name, zt::u64 frame);

    const FrameStack* stack;
    std::map<std::string, std::size_t> failureOf; // index in `failed`, by the reason without numbers
    std::vector<Failure> failed;
    std::vector<Kind> oddFrames;
    zt::u64 clippedPixels = 0;
    std::vector<zt::u64> clippedFrames;
    zt::u64 notPositive = 0; // pixels
    zt::u64 framesNotPositive = 0;
};

} // namespace ombrel
