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
    static constexpr bool asksForFirst = false;

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
    static constexpr bool asksForFirst = true;

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
    const std::size_t badPixels = countMarks(mask, size);
    if (badPixels > size / 2)
        return -1;
    FillBatches batches(data, width);
    InterpolationPasses(batches, mask, {width, height}, front).runForFills(badPixels);
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
bool KeptFills::isFew(const PixelBits& marks) {
    return marks.count() <= marks.size() / 8;
}

void KeptFills::fill(double* data, const PixelBits& marks, FrameSize frame) {
    ownCodes.resize(marks.size());
    marks.expand(ownCodes.span());
    const std::size_t badPixels = marks.count();
    isKept = false;
    if (!isFew(marks)) {
        FillBatches batches(data, frame.width);
        InterpolationPasses(batches, ownCodes.data(), frame, front).runForFills(badPixels);
        return;
    }
    record(ownCodes.data(), marks, frame, [&](auto& passes) { passes.runForFills(badPixels); });
    repeat(data, keptMarks, frame);
}

void KeptFills::fill(double* data, unsigned char* codes, const PixelBits& marks, FrameSize frame) {
    isKept = false;
    if (!isFew(marks) || countMarks(codes, marks.size()) != marks.count()) {
        runInterpolationPasses(data, codes, frame.width, frame.height, front);
        return;
    }
    record(codes, marks, frame, [](auto& passes) { passes.run(); });
    repeat(data, keptMarks, frame);
}

template <typename Run>
void KeptFills::record(unsigned char* codes, const PixelBits& marks, FrameSize frame, Run run) {
    first.clear();
    later.clear();
    passEnds.clear();
    FillRecord sink{first, later, passEnds};
    InterpolationPasses passes(sink, codes, frame, front);
    run(passes);
    keptMarks.assign(marks);
    keptFrame = frame;
    isKept = true;
}

} // namespace PluginOmbrel
