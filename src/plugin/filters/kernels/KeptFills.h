#pragma once

#include "kernels/Buffer.h"
#include "kernels/FillFront.h"
#include "kernels/Fills.h"
#include "kernels/Neighbourhood.h"
#include "kernels/PixelBits.h"

#include <cstddef>
#include <vector>

namespace PluginOmbrel {

// The interpolation of bad pixels that are mostly the same from frame to frame. Which pixels the passes fill,
// in which order and from which sources depends on the mask alone: these fills are kept and repeated as long
// as the marks and the frame's shape are the same. That is found by comparing all marks, whatever changed
// them.
class KeptFills {
public:
    // Fills as fill() did, if that was for the same marks and shape, and nothing else since. False: nothing
    // is changed.
    bool repeat(double* data, const PixelBits& marks, FrameSize frame) const;

    // Fills the marked pixels as tInterpolateBadPixels() does.
    void fill(double* data, const PixelBits& marks, FrameSize frame);
    // Runs the passes on the codes as runInterpolationPasses() does. `marks` are the pixels whose code the
    // caller set to 1; other codes may be left from earlier frames, and then nothing is kept.
    void fill(double* data, unsigned char* codes, const PixelBits& marks, FrameSize frame);

    // To be called when the codes were changed other than by fill().
    void forget() { isKept = false; }

private:
    static bool isFew(const PixelBits& marks);
    template <typename Run>
    void record(unsigned char* codes, const PixelBits& marks, FrameSize frame, Run run);

    PixelBits keptMarks;
    FrameSize keptFrame{};
    bool isKept = false;
    std::vector<Fill> first;           // from good pixels alone, which is most: in any order
    std::vector<Fill> later;           // in the order of passes
    std::vector<std::size_t> passEnds; // in `later`
    FillFront front;                   // kept to reuse its memory, as are these codes
    Buffer<unsigned char> ownCodes;
};

} // namespace PluginOmbrel
