#include "kernels/BadPixelInterpolation.h"

#include "kernels/BadPixelMask.h"
#include "kernels/Fills.h"
#include "kernels/InterpolationPasses.h"
#include "kernels/KeptFills.h"

#include <array>

namespace PluginOmbrel {

namespace {

// Carries out the fills of a pass in batches.
class FillBatches {
public:
    FillBatches(double* frameData, std::size_t frameWidth) : data(frameData), width(frameWidth) {}

    void add(const Fill& fill, bool /*isFirst*/) {
        if (count == batch.size())
            endPass();
        batch[count++] = fill;
    }

    void endPass() {
        fillPixels(data, width, std::span(batch).first(count));
        count = 0;
    }

private:
    double* data;
    std::size_t width;
    std::array<Fill, 512> batch;
    std::size_t count = 0;
};

struct FillRecord {
    std::vector<Fill>& first;
    std::vector<Fill>& later;
    std::vector<std::size_t>& passEnds;

    void add(const Fill& fill, bool isFirst) { (isFirst ? first : later).push_back(fill); }
    void endPass() {
        if (later.size() != (passEnds.empty() ? 0 : passEnds.back()))
            passEnds.push_back(later.size());
    }
};

} // namespace

template <>
void runInterpolationPasses(double* data, unsigned char* mask, std::size_t width, std::size_t height,
                            FillFront& front) {
    FillBatches batches(data, width);
    InterpolationPasses(batches, mask, {width, height}, front).run();
}

template <>
int tInterpolateBadPixels(double* data, unsigned char* mask, unsigned long width, unsigned long height,
                          FillFront& front) {
    const std::size_t size = width * height;
    if (countMarks(mask, size) > size / 2)
        return -1;
    runInterpolationPasses(data, mask, width, height, front);
    setMarksToOne(mask, size);
    return 0;
}

bool KeptFills::repeat(double* data, const PixelBits& marks, FrameSize frame) const {
    if (!isKept || frame.width != keptFrame.width || frame.height != keptFrame.height || marks != keptMarks)
        return false;
    fillPixels(data, frame.width, first);
    std::size_t start = 0;
    for (const std::size_t end : passEnds) {
        fillPixels(data, frame.width, std::span(later).subspan(start, end - start));
        start = end;
    }
    return true;
}

// A fill takes eight bytes: for wide bad areas they would need more memory than the frame.
bool KeptFills::isWorthKeeping(const unsigned char* codes, const PixelBits& marks) const {
    const std::size_t bad = marks.count();
    return bad <= marks.size() / 8 && countMarks(codes, marks.size()) == bad;
}

void KeptFills::fill(double* data, unsigned char* codes, const PixelBits& marks, FrameSize frame) {
    isKept = false;
    if (!isWorthKeeping(codes, marks)) {
        runInterpolationPasses(data, codes, frame.width, frame.height, front);
        return;
    }
    first.clear();
    later.clear();
    passEnds.clear();
    FillRecord record{first, later, passEnds};
    InterpolationPasses(record, codes, frame, front).run();
    keptMarks.assign(marks);
    keptFrame = frame;
    isKept = true;
    repeat(data, keptMarks, frame);
}

} // namespace PluginOmbrel
