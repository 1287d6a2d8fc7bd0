#pragma once

#include "frame/Frame.h"
#include "stack/FrameStack.h"
#include "zt/Types.h"

#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ombrel {

// Whether the greatest value or negative values mark pixels, as far as asked for.
template <typename T>
bool isMark(T pixel, bool top, bool negative) {
    if constexpr (std::is_integral_v<T>)
        return (top && pixel == std::numeric_limits<T>::max()) || (negative && std::cmp_less(pixel, 0));
    return false;
}

// Which values of a frame mark a pixel as not measured.
struct MarkOptions {
    std::string marks = "auto"; // auto, none, top or negative; see FrameMarks
    bool keepNan = false;       // marked pixels are NaN in the output
};

// Counting detectors mark pixels of single frames by the greatest value of the pixel type, or by negative
// values.
//   - auto: the greatest value of 32 and 64 bit integers, and negative ones. In 8 and 16 bit the greatest
//     value is saturation, and negative ones are the result of a subtraction: both stay
//   - top: the greatest value of every integer type
//   - negative: negative values of every signed integer type
class FrameMarks {
public:
    // `deviceMask` holds 0 for pixels of no use; empty for none.
    FrameMarks(const MarkOptions& options, std::vector<zt::u8> deviceMask);

    // The marked pixels.
    std::vector<zt::u32> find(const Frame& frame) const;
    // Replaces each marked pixel by the mean of the good pixels within 5 x 5, weighted by the inverse
    // distance, and by 0 without such neighbours. Returns the marked pixels.
    std::vector<zt::u32> fill(Frame& frame) const;
    // Makes these pixels of a corrected frame NaN if that is wanted; the frame then holds doubles.
    void finish(Frame& frame, std::span<const zt::u32> marked) const;

private:
    bool takesTop(zt::u8 pixelType) const;
    bool takesNegative(zt::u8 pixelType) const;

    MarkOptions options;
    std::vector<zt::u8> mask;
};

// "FILE, frame 0: 12 pixels have the greatest value of u16, ..." if 8 or 16 bit pixels of that frame are left
// alone although they may be marked; else empty. Reads the frame; empty too if that fails.
std::string saturationNote(FrameStack& stack, zt::u64 frame, const MarkOptions& options);

} // namespace ombrel
